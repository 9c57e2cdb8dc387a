#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <unordered_set>
#include <vector>

#include "platform/base/UUID.h"

namespace qw {
namespace {

TEST(UUIDTest, CanonicalTextIsReadAndWrittenUnchanged) {
  const std::string text = "0123ABCD-4567-89EF-FEDC-BA9876543210";
  const auto value = UUID::fromCanonicalText(text);
  ASSERT_TRUE(value);
  EXPECT_EQ(value->high, 0x0123ABCD456789EFU);
  EXPECT_EQ(value->low, 0xFEDCBA9876543210U);
  EXPECT_EQ(value->text(), text);
}

TEST(UUIDTest, AnyOtherTextIsNoValue) {
  const std::string good = "0123ABCD-4567-89EF-FEDC-BA9876543210";
  EXPECT_FALSE(UUID::fromCanonicalText(""));
  EXPECT_FALSE(UUID::fromCanonicalText(good.substr(1)));
  EXPECT_FALSE(UUID::fromCanonicalText(good + "0"));
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (const char bad : {'a', 'g', '-', 'G', '/', ':', '@', ' ', '\0', '\xC3'}) {
      std::string text = good;
      if (text[i] == bad) continue;
      text[i] = bad;
      EXPECT_FALSE(UUID::fromCanonicalText(text)) << text;
    }
  }
}

TEST(UUIDTest, RandomIdentifiersAreOfVersion4AndDifferAcrossThreads) {
  constexpr std::size_t kThreads = 4, kEach = 1000;
  std::vector<std::vector<UUID>> made(kThreads);
  std::vector<std::thread> threads;
  for (auto& list : made) {
    threads.emplace_back([&list] {
      for (std::size_t i = 0; i < kEach; ++i) list.push_back(UUID::random());
    });
  }
  for (auto& thread : threads) thread.join();
  std::unordered_set<UUID> all;
  for (const auto& list : made) all.insert(list.begin(), list.end());
  EXPECT_EQ(all.size(), kThreads * kEach);
  for (const UUID& value : all) {
    const std::string text = value.text();
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos);
    EXPECT_EQ(UUID::fromCanonicalText(text), value);
  }
}

TEST(UUIDTest, AForkedProcessDoesNotRepeatItsParentsIdentifiers) {
  UUID::random();  // fills the buffer that the child inherits
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const UUID mine = UUID::random();
    _exit(write(ends[1], &mine, sizeof mine) == sizeof mine ? 0 : 1);
  }
  UUID theirs;
  ASSERT_EQ(read(ends[0], &theirs, sizeof theirs), static_cast<ssize_t>(sizeof theirs));
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_NE(theirs, UUID::random());
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace qw
