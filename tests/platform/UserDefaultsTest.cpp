#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <thread>

#include "platform/base/Image.h"
#include "platform/base/Log.h"
#include "platform/files/UserDefaults.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"
#include "support/Files.h"

namespace {

namespace fs = std::filesystem;
using Files::read;
using qw::Array;
using qw::Dictionary;
using qw::UserDefaults;
using qw::Value;

class UserDefaultsTest : public testing::Test {
 protected:
  void write(std::string_view text) { Files::write(file_, text); }

  qw::ApplicationContext::Override context_;
  fs::path file_ = context_.directory() / "configuration" / "app" / "defaults.json";
  qw::Error error_;
};

TEST_F(UserDefaultsTest, EveryKindOfValueComesBackAsItWas) {
  const double infinity = std::numeric_limits<double>::infinity();
  const Dictionary values = {
      {"true", true},
      {"int", std::numeric_limits<std::int64_t>::min()},
      {"largest", std::numeric_limits<std::int64_t>::max()},
      {"double", 0.1},
      {"whole double", 3.0},
      {"infinite", -infinity},
      {"text", std::string("naïve \0 \n\"", 11)},
      {"empty", ""},
      {"decimal", *qw::Decimal::fromText("12345678901234567890.123456789")},
      {"date", qw::Date::fromMicroseconds(-1'234'567)},
      {"data", qw::Data::fromText(std::string("\0\xFF", 2))},
      {"no data", qw::Data()},
      {"color", qw::Color{0.1, 0.2, 1.0 / 3, 1}},
      {"array", Array{1, "two", Array{}, nullptr, qw::Date::fromSeconds(5)}},
      {"dictionary", Dictionary{{"a", 1}, {"b", Dictionary{{"$date", 5}}}}},
      {"like a tag", Dictionary{{"$data", "no base64"}}},
      {"like two", Dictionary{{"$dictionary", Dictionary{{"$date", 1}}}}},
      {"$key", 1},
  };
  {
    UserDefaults defaults(file_);
    for (const auto& [key, value] : values) EXPECT_TRUE(defaults.set(key, value)) << key;
    EXPECT_TRUE(defaults.set("nan", std::nan("")));
  }
  const UserDefaults defaults(file_);
  for (const auto& [key, value] : values) {
    EXPECT_EQ(defaults.value(key), value) << key;
    EXPECT_EQ(defaults.value(key).kind(), value.kind()) << key;
  }
  EXPECT_TRUE(std::isnan(defaults.doubleValue("nan")));
}

TEST_F(UserDefaultsTest, ReadsByTypeWithRegisteredValuesBehind) {
  UserDefaults defaults(file_);
  defaults.registerDefaults({{"flag", true}, {"count", 7}, {"ids", Array{"a"}}});
  EXPECT_TRUE(defaults.boolValue("flag"));
  EXPECT_EQ(defaults.array("ids"), Array{"a"});
  defaults.set("flag", false);
  defaults.set("count", "12");
  EXPECT_FALSE(defaults.boolValue("flag"));
  EXPECT_EQ(defaults.intValue("count"), 12);
  EXPECT_EQ(defaults.text("count"), "12");
  defaults.remove("count");
  EXPECT_EQ(defaults.text("count"), "7");
  EXPECT_EQ(defaults.text("ids"), std::nullopt);
  EXPECT_EQ(defaults.text("missing"), std::nullopt);
  EXPECT_EQ(defaults.doubleValue("missing"), 0);
  EXPECT_TRUE(defaults.dictionary("ids").empty());
  ASSERT_TRUE(defaults.synchronize());
  EXPECT_EQ(read(file_), "{\n  \"flag\": false\n}\n") << "registered values are not written";
}

TEST_F(UserDefaultsTest, RefusesWhatCannotBeWritten) {
  UserDefaults defaults(file_);
  defaults.set("key", "kept");
  Value deep = 1;
  for (int i = 0; i < UserDefaults::kMaximumDepth; ++i) deep = Array{deep};
  EXPECT_TRUE(defaults.set("deep", deep));
  const Value bad[] = {Array{deep}, "\xFF", Dictionary{{"\xC3", 1}}, *qw::Image::colorIcon({}, {1, 1}),
                       Array{qw::ValueSet{1}}};
  for (const Value& value : bad) EXPECT_FALSE(defaults.set("key", value));
  EXPECT_FALSE(defaults.set("\xFF", 1));
  EXPECT_EQ(defaults.text("key"), "kept");
  ASSERT_TRUE(defaults.synchronize());
  EXPECT_EQ(UserDefaults(file_).value("deep"), deep);
}

TEST_F(UserDefaultsTest, ObserversHearOfChangesUntilTheyEnd) {
  UserDefaults defaults(file_);
  std::vector<std::string> heard;
  auto first =
      defaults.observe("key", [&](const Value& value) { heard.push_back("1:" + value.description()); });
  qw::Registration second;
  second = defaults.observe("key", [&](const Value& value) {
    heard.push_back("2:" + value.description());
    second.end();
    first.end();
  });
  auto third =
      defaults.observe("key", [&](const Value& value) { heard.push_back("3:" + value.description()); });
  defaults.set("other", 1);
  defaults.set("key", "a");
  EXPECT_EQ(heard, (std::vector<std::string>{"1:a", "2:a", "3:a"}));
  heard.clear();
  defaults.set("key", "a");
  defaults.registerDefaults({{"key", "registered"}});
  EXPECT_TRUE(heard.empty()) << "nothing changed";
  defaults.remove("key");
  EXPECT_EQ(heard, std::vector<std::string>{"3:registered"});
  qw::Registration outlives;
  {
    UserDefaults shortLived(file_.parent_path() / "other");
    outlives = shortLived.observe("key", [](const Value&) {});
  }
}

TEST_F(UserDefaultsTest, TwoInstancesKeepEachOthersChanges) {
  UserDefaults a(file_);
  UserDefaults b(file_);
  std::vector<std::string> heard;
  const auto observation =
      b.observe("from a", [&](const Value& value) { heard.push_back(value.description()); });
  a.set("from a", 1);
  a.set("both", "a");
  ASSERT_TRUE(a.synchronize());
  b.set("from b", 2);
  b.set("both", "b");
  ASSERT_TRUE(b.synchronize());
  EXPECT_EQ(heard, std::vector<std::string>{"1"});
  ASSERT_TRUE(a.synchronize());
  for (UserDefaults* each : {&a, &b}) {
    EXPECT_EQ(each->intValue("from a"), 1);
    EXPECT_EQ(each->intValue("from b"), 2);
    EXPECT_EQ(each->text("both"), "b");
  }
  a.remove("from b");
  ASSERT_TRUE(a.synchronize() && b.synchronize());
  EXPECT_TRUE(b.value("from b").isNull());
}

TEST_F(UserDefaultsTest, ProcessesThatWriteAtOnceLoseNothing) {
  const std::string keys[] = {"0", "1", "2", "3"};
  for (const std::string& key : keys) {
    if (fork() != 0) continue;
    UserDefaults defaults(file_);
    bool written = true;
    for (int i = 0; i <= 10; ++i) written = defaults.set(key, i) && defaults.synchronize() && written;
    _exit(written ? 0 : 1);
  }
  for (int status = -1; wait(&status) > 0;) EXPECT_EQ(status, 0);
  for (const std::string& key : keys) EXPECT_EQ(UserDefaults(file_).value(key), Value(10)) << key;
}

TEST_F(UserDefaultsTest, ADamagedFileIsPutAside) {
  for (const std::string& bad :
       {std::string("{\"key\": 1"), std::string("[]"), std::string(), "\xFF" + std::string(9, '\0'),
        "{\"key\":" + std::string(100'000, '[') + std::string(100'000, ']') + "}"}) {
    write(bad);
    qw::Log::Capture log;
    UserDefaults defaults(file_);
    EXPECT_EQ(log.take().size(), 1u);
    EXPECT_TRUE(defaults.value("key").isNull());
    std::string aside;
    for (const auto& item : fs::directory_iterator(file_.parent_path())) {
      if (item.path().string().find(".damaged-") != std::string::npos) aside = read(item.path());
    }
    EXPECT_EQ(aside, bad);
    defaults.set("key", 2);
    EXPECT_TRUE(defaults.synchronize());
    write(bad);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(UserDefaults(file_).intValue("key"), 2) << "what was in memory is written anew";
    fs::remove_all(file_.parent_path());
  }
}

TEST_F(UserDefaultsTest, AFileThatCannotBeReadIsNeverOverwritten) {
  fs::create_directories(file_);
  qw::Log::Capture log;
  UserDefaults defaults(file_);
  defaults.set("key", 1);
  EXPECT_FALSE(defaults.synchronize(&error_));
  EXPECT_EQ(error_.domain, qw::FileManager::kErrorDomain);
  EXPECT_EQ(defaults.intValue("key"), 1);
  fs::remove(file_);
  EXPECT_TRUE(defaults.synchronize()) << "the change is still pending";
  EXPECT_EQ(UserDefaults(file_).intValue("key"), 1);
}

TEST_F(UserDefaultsTest, EntriesOfALaterVersionStayUntouched) {
  write(R"({"later": {"$future": [1, {"$x": 2}]}, "huge": 18446744073709551615, "mine": 1})");
  {
    UserDefaults defaults(file_);
    defaults.set("mine", 2);
  }
  EXPECT_NE(read(file_).find("\"huge\": 18446744073709551615"), std::string::npos);
  EXPECT_NE(read(file_).find("\"$future\": ["), std::string::npos) << read(file_);
  EXPECT_EQ(read(file_).find("$dictionary"), std::string::npos);
}

TEST_F(UserDefaultsTest, TheRunLoopWritesChangesTogether) {
  UserDefaults defaults(file_);
  for (int i = 0; i < 100; ++i) defaults.set("key", i);
  EXPECT_FALSE(fs::exists(file_)) << "nothing is written yet";
  EXPECT_TRUE(qw::RunLoop::main().runUntil([&] { return fs::exists(file_); }, std::chrono::seconds(20)));
  EXPECT_EQ(UserDefaults(file_).intValue("key"), 99);
}

TEST_F(UserDefaultsTest, StandardFollowsTheContext) {
  UserDefaults::standard().set("key", 1);
  EXPECT_EQ(&UserDefaults::standard(), &UserDefaults::standard());
  ASSERT_TRUE(UserDefaults::standard().synchronize());
  EXPECT_TRUE(fs::exists(context_.directory() / "configuration" / "org.example.Test" / "defaults.json"));
  {
    qw::ApplicationContext::Override other;
    EXPECT_TRUE(UserDefaults::standard().value("key").isNull());
  }
  EXPECT_EQ(UserDefaults::standard().intValue("key"), 1);
}

TEST_F(UserDefaultsTest, ThreadsMaySetReadAndSynchronizeAtOnce) {
  UserDefaults defaults(file_);
  std::atomic<int> heard = 0;
  const auto observation = defaults.observe("0", [&](const Value&) { ++heard; });
  std::vector<std::jthread> threads;
  for (const char* key : {"0", "1", "2", "3"})
    threads.emplace_back([&, key] {
      for (int i = 1; i <= 50; ++i) {
        defaults.set(key, i);
        EXPECT_TRUE(i % 10 != 0 || defaults.synchronize());
        EXPECT_EQ(defaults.intValue(key), i);
      }
    });
  threads.clear();
  EXPECT_EQ(heard, 50);
  ASSERT_TRUE(defaults.synchronize());
  const UserDefaults again(file_);
  for (const char* key : {"0", "1", "2", "3"}) EXPECT_EQ(again.intValue(key), 50);
}

}  // namespace
