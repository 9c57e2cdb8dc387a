#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"
#include "platform/system/TemporaryDirectory.h"
#include "support/Files.h"

namespace {

namespace fs = std::filesystem;
namespace FileManager = qw::FileManager;
using Files::read;

class FileManagerTest : public testing::Test {
 protected:
  std::size_t countOfItems() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory_), fs::directory_iterator()));
  }

  qw::ApplicationContext::Override context_;
  fs::path directory_ = context_.directory() / "temporary";
  fs::path file_ = directory_ / "settings";
  qw::Error error_;
};

TEST_F(FileManagerTest, WritesAndReadsAnyBytes) {
  for (const std::string& bytes : {std::string(), std::string("a\0b\xFF", 4), std::string(3'000'000, 'x')}) {
    ASSERT_TRUE(FileManager::writeAtomically(bytes, file_));
    EXPECT_EQ(read(file_), bytes);
    EXPECT_EQ(FileManager::contents(file_)->text(), bytes);
    EXPECT_EQ(countOfItems(), 1u) << "nothing is left beside the file";
  }
}

TEST_F(FileManagerTest, ReplacingKeepsPermissionsAndLinks) {
  ASSERT_TRUE(FileManager::writeAtomically("old", file_));
  fs::permissions(file_, fs::perms(0640));
  fs::create_symlink(file_, directory_ / "link");
  ASSERT_TRUE(FileManager::writeAtomically("new", directory_ / "link"));
  EXPECT_TRUE(fs::is_symlink(directory_ / "link"));
  EXPECT_EQ(read(file_), "new");
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms(0640));
}

TEST_F(FileManagerTest, AWriteThatFailsHalfwayLeavesTheOldContents) {
  ASSERT_TRUE(FileManager::writeAtomically("old", file_));
  const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{100'000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const bool written = FileManager::writeAtomically(std::string(1'000'000, 'x'), file_, &error_);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, previousHandler);
  EXPECT_FALSE(written);
  EXPECT_EQ(error_.code, FileManager::kSystemError);
  EXPECT_EQ(read(file_), "old");
  EXPECT_EQ(countOfItems(), 1u);
}

TEST_F(FileManagerTest, FailuresNameTheFile) {
  EXPECT_FALSE(FileManager::writeAtomically("x", directory_ / "missing" / "file", &error_));
  EXPECT_EQ(error_.domain, FileManager::kErrorDomain);
  EXPECT_NE(error_.localizedDescription.find("“file”"), std::string::npos) << error_.localizedDescription;
  EXPECT_FALSE(FileManager::contents(file_, 10, &error_));
  EXPECT_EQ(error_.code, FileManager::kSystemError);
}

TEST_F(FileManagerTest, ReadingIsBoundedAndNeverWaits) {
  ASSERT_TRUE(FileManager::writeAtomically("12345", file_));
  EXPECT_TRUE(FileManager::contents(file_, 5));
  EXPECT_FALSE(FileManager::contents(file_, 4, &error_));
  EXPECT_EQ(error_.code, FileManager::kTooLarge);
  fs::resize_file(file_, std::uintmax_t{1} << 40);
  EXPECT_FALSE(FileManager::contents(file_, FileManager::kMaximumContents, &error_));
  EXPECT_EQ(error_.code, FileManager::kTooLarge);
  ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(FileManager::contents(directory_ / "pipe"));
  EXPECT_FALSE(FileManager::contents(directory_));
}

TEST_F(FileManagerTest, RemovesWholeTreesAndWhatIsNotThere) {
  fs::create_directories(directory_ / "a" / "b");
  ASSERT_TRUE(FileManager::writeAtomically("x", directory_ / "a" / "b" / "c"));
  ASSERT_TRUE(FileManager::writeAtomically("kept", file_));
  fs::create_symlink(file_, directory_ / "a" / "link");
  EXPECT_TRUE(FileManager::removeItem(directory_ / "a"));
  EXPECT_TRUE(FileManager::removeItem(directory_ / "a"));
  EXPECT_EQ(read(file_), "kept") << "a link is removed, not what it points to";
  EXPECT_EQ(countOfItems(), 1u);
}

TEST_F(FileManagerTest, SupportDirectoryIsTheApplicationsOwn) {
  const auto path = FileManager::supportDirectory();
  ASSERT_TRUE(path);
  EXPECT_EQ(*path, context_.directory() / "support" / "org.example.Test");
  EXPECT_EQ(fs::status(*path).permissions(), fs::perms(0700));
  EXPECT_EQ(FileManager::supportDirectory(), path);
  context_.change([&](auto& context) { context.supportDirectory = file_; });
  ASSERT_TRUE(FileManager::writeAtomically("a file where a directory has to be", file_));
  EXPECT_FALSE(FileManager::supportDirectory(&error_));
  EXPECT_TRUE(error_);
}

TEST_F(FileManagerTest, TemporaryDirectoriesAreUniqueAndGoWithTheirOwner) {
  fs::path first;
  {
    auto a = qw::TemporaryDirectory::create("session");
    auto b = qw::TemporaryDirectory::create("session");
    ASSERT_TRUE(a && b);
    EXPECT_NE(a->path(), b->path());
    EXPECT_TRUE(a->path().filename().string().starts_with("session-"));
    first = a->path();
    ASSERT_TRUE(FileManager::writeAtomically("x", first / "file"));
    qw::TemporaryDirectory moved = std::move(*a);
    EXPECT_TRUE(fs::exists(first / "file"));
  }
  EXPECT_EQ(countOfItems(), 0u);
  EXPECT_TRUE(fs::exists(qw::TemporaryDirectory::create("kept")->release()));
  EXPECT_FALSE(qw::TemporaryDirectory::createIn(directory_ / "missing", "x", &error_));
  EXPECT_EQ(error_.code, FileManager::kSystemError);
}

}  // namespace
