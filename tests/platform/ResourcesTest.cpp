#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/base/internal/Resources.h"

namespace {

TEST(ResourcesTest, HoldEveryFileOfTheResourcesFolderByteForByte) {
  const std::filesystem::path root = "resources";
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file()) continue;
    ++files;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string expected{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(qw::resource(entry.path().lexically_relative(root).generic_string()), expected) << entry.path();
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
