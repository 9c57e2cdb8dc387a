#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "platform/base/Log.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Clock.h"

namespace {

// Sets an environment variable, or unsets it for null, until its end.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~Variable() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(ApplicationContext, FollowsTheEnvironment) {
  Variable home("HOME", "/home/someone"), data("XDG_DATA_HOME", "/data"),
      configuration("XDG_CONFIG_HOME", "relative");
  Variable all("LC_ALL", nullptr), messages("LC_MESSAGES", nullptr),
      numeric("LC_NUMERIC", "de_CH.UTF-8@special");
  Variable language("LANGUAGE", "fr_CA:en"), lang("LANG", "fr_CA.UTF-8");
  const auto context = qw::ApplicationContext::fromEnvironment();
  EXPECT_EQ(context.supportDirectory, "/data");
  EXPECT_EQ(context.configurationDirectory.filename(), ".config") << "a relative path is not valid there";
  EXPECT_EQ(context.preferredLanguages, (std::vector<std::string>{"fr-CA", "fr", "en"}));
  EXPECT_EQ(context.locale, "de_CH");
  {
    Variable posix("LC_ALL", "C.UTF-8"), none("LANGUAGE", nullptr);
    EXPECT_EQ(qw::ApplicationContext::fromEnvironment().locale, "en_US");
    EXPECT_EQ(qw::ApplicationContext::fromEnvironment().preferredLanguages, std::vector<std::string>{"en"});
  }
}

TEST(ApplicationContext, OverrideIsolatesAndRestores) {
  const auto before = qw::ApplicationContext::current().supportDirectory;
  std::filesystem::path directory;
  qw::UUID first;
  {
    qw::ApplicationContext::Override context;
    directory = context.directory();
    std::ofstream(qw::ApplicationContext::current().supportDirectory / "file") << "content";
    first = qw::ApplicationContext::uniqueID();
    EXPECT_NE(qw::ApplicationContext::uniqueID(), first);
    context.change([](auto& c) { c.locale = "fr_FR"; });
    EXPECT_EQ(qw::ApplicationContext::current().locale, "fr_FR");
    EXPECT_TRUE(std::filesystem::exists(directory));
  }
  EXPECT_FALSE(std::filesystem::exists(directory));
  EXPECT_EQ(qw::ApplicationContext::current().supportDirectory, before);
  EXPECT_NE(qw::ApplicationContext::uniqueID(), qw::ApplicationContext::uniqueID());
  qw::ApplicationContext::Override again;
  EXPECT_EQ(qw::ApplicationContext::uniqueID(), first) << "every override counts from the start";
}

TEST(Clock, IsHeldAndMovedByNestedOverrides) {
  const auto start = qw::Clock::now();
  {
    qw::Clock::Override outer(qw::Date::fromSeconds(1000));
    outer.advanceSeconds(5);
    {
      qw::Clock::Override inner(qw::Date::fromSeconds(7));
      EXPECT_EQ(qw::Clock::now(), qw::Date::fromSeconds(7));
    }
    EXPECT_EQ(qw::Clock::now(), qw::Date::fromSeconds(1005));
  }
  EXPECT_GE(qw::Clock::now(), start);
  EXPECT_GT(qw::Clock::now(), qw::Date::fromSeconds(1'700'000'000)) << "the epoch is that of 1970";
}

TEST(Log, SinkReceivesFormattedMessages) {
  qw::Log::Capture capture;
  qw::Log::warning("Missing column {} of {}", "name", 3);
  qw::Log::write(qw::Log::Level::kError, "as it {} stands");
  using Level = qw::Log::Level;
  EXPECT_EQ(capture.take(), (std::vector<qw::Log::Message>{{Level::kWarning, "Missing column name of 3"},
                                                           {Level::kError, "as it {} stands"}}));
  EXPECT_TRUE(capture.take().empty());
}

TEST(LogDeathTest, ErrorsReachTheStandardErrorStreamAndDoNotEndTheProgram) {
  EXPECT_EXIT(
      {
        qw::Log::error("disk {}", "full");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "disk full");
}

}  // namespace
