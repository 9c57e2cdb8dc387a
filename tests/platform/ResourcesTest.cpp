#include <gtest/gtest.h>

#include "platform/base/internal/Resources.h"
#include "support/Files.h"

namespace {

TEST(ResourcesTest, HoldEveryFileOfTheResourcesFolderByteForByte) {
  const std::filesystem::path root = "resources";
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file()) continue;
    ++files;
    const std::string name = entry.path().lexically_relative(root).generic_string();
    EXPECT_EQ(qw::resource(name), Files::read(entry.path())) << name;
  }
  EXPECT_GT(files, 0u);
  EXPECT_EQ(qw::resources().size(), files);
}

TEST(ResourcesTest, AnotherPathIsNoResource) {
  for (const auto& resource : qw::resources()) {
    EXPECT_FALSE(qw::resource(std::string(resource.path) + "x"));
    EXPECT_FALSE(qw::resource(resource.path.substr(0, resource.path.size() - 1)));
  }
  EXPECT_FALSE(qw::resource(""));
}

}  // namespace
