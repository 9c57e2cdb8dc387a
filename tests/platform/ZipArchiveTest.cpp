#include <gtest/gtest.h>
#include <zip.h>
#include <zlib.h>

#include <array>
#include <cstdlib>

#include "platform/files/ZipArchive.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"
#include "support/Files.h"

namespace {

namespace fs = std::filesystem;
namespace FileManager = qw::FileManager;
namespace ZipArchive = qw::ZipArchive;
using Files::read;
using Files::tree;

// One entry of an archive that is put together byte by byte, stored without compression.
struct RawEntry {
  std::string name;
  std::string contents;
  std::uint32_t mode = 0100644;  ///< Unix permissions and type
  std::uint32_t claimedSize = UINT32_MAX;
};

class Bytes {
 public:
  Bytes& put16(std::uint32_t value) { return put(value, 2); }
  Bytes& put32(std::uint32_t value) { return put(value, 4); }
  Bytes& put(std::string_view text) {
    text_ += text;
    return *this;
  }
  const std::string& text() const { return text_; }

 private:
  Bytes& put(std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) text_ += static_cast<char>(value >> (8 * i));
    return *this;
  }
  std::string text_;
};

std::uint32_t crcOf(const std::string& bytes) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

std::string rawArchive(const std::vector<RawEntry>& entries) {
  Bytes files;
  Bytes directory;
  for (const RawEntry& entry : entries) {
    const auto size = static_cast<std::uint32_t>(entry.contents.size());
    const auto claimed = entry.claimedSize == UINT32_MAX ? size : entry.claimedSize;
    const auto offset = static_cast<std::uint32_t>(files.text().size());
    Bytes common;
    common.put16(20).put16(0x800).put16(0).put32(0x5821'0000);
    common.put32(crcOf(entry.contents)).put32(size).put32(claimed);
    common.put16(static_cast<std::uint32_t>(entry.name.size())).put16(0);
    files.put32(0x04034b50).put(common.text()).put(entry.name).put(entry.contents);
    directory.put32(0x02014b50).put16(3 << 8 | 20).put(common.text()).put16(0).put16(0).put16(0);
    directory.put32(entry.mode << 16).put32(offset).put(entry.name);
  }
  Bytes end;
  const auto count = static_cast<std::uint32_t>(entries.size());
  end.put32(0x06054b50).put16(0).put16(0).put16(count).put16(count);
  end.put32(static_cast<std::uint32_t>(directory.text().size()));
  end.put32(static_cast<std::uint32_t>(files.text().size())).put16(0);
  return files.text() + directory.text() + end.text();
}

class ZipArchiveTest : public testing::Test {
 protected:
  fs::path write(const fs::path& name, std::string_view bytes) const {
    return Files::write(directory_ / name, bytes);
  }
  // Runs a command in the directory with its output discarded.
  bool run(const std::string& command) const {
    return std::system(("cd '" + directory_.string() + "' && (" + command + ") >/dev/null 2>&1").c_str()) ==
           0;
  }

  qw::ApplicationContext::Override context_;
  fs::path directory_ = context_.directory() / "temporary";
  fs::path archive_ = directory_ / "book.zip";
  fs::path out_ = directory_ / "out";
  qw::Error error_;
};

using Paths = std::vector<fs::path>;

TEST_F(ZipArchiveTest, FilesComeBackInTheirOrder) {
  std::string large;
  for (int i = 0; i < 200'000; ++i) large += std::to_string(i * 7919);
  const Paths files{write("b", "second letter first"), write("Dépenses.book", large), write("empty", "")};
  ASSERT_TRUE(ZipArchive::zipFiles(files, archive_, {}, "Ménage 2024", &error_))
      << error_.localizedDescription;
  EXPECT_LT(fs::file_size(archive_), large.size() / 2) << "it is compressed";
  const auto extracted = ZipArchive::unzipFileAtPath(archive_, out_, {}, &error_);
  ASSERT_TRUE(extracted) << error_.localizedDescription;
  EXPECT_EQ(*extracted, (Paths{out_ / "b", out_ / "Dépenses.book", out_ / "empty"}));
  EXPECT_EQ(read((*extracted)[1]), large);
  EXPECT_EQ(read((*extracted)[2]), "");
  EXPECT_EQ(ZipArchive::commentOfZipFileAtPath(archive_), "Ménage 2024");
}

TEST_F(ZipArchiveTest, DirectoriesKeepTheirShape) {
  write("Book.package/data/store", "s");
  write("Book.package/info", "i");
  fs::create_directories(directory_ / "Book.package" / "empty");
  ASSERT_TRUE(ZipArchive::zipFiles(Paths{directory_ / "Book.package" / ""}, archive_));
  ASSERT_TRUE(ZipArchive::unzipFileAtPath(archive_, out_));
  EXPECT_EQ(tree(out_),
            (std::vector<std::string>{"Book.package", "Book.package/data", "Book.package/data/store",
                                      "Book.package/empty", "Book.package/info"}));
}

TEST_F(ZipArchiveTest, PasswordsEncryptWithAES256) {
  const Paths files{write("secret", "the contents")};
  ASSERT_TRUE(ZipArchive::zipFiles(files, archive_, "pass wörd", "open comment"));
  int code = 0;
  zip_t* archive = zip_open(archive_.c_str(), ZIP_RDONLY, &code);
  zip_stat_t status;
  ASSERT_EQ(zip_stat_index(archive, 0, 0, &status), 0);
  EXPECT_EQ(status.encryption_method, ZIP_EM_AES_256);
  zip_discard(archive);
  for (const char* wrong : {"", "pass word"}) {
    EXPECT_FALSE(ZipArchive::unzipFileAtPath(archive_, out_, wrong, &error_));
    EXPECT_EQ(error_.code, FileManager::kWrongPassword) << wrong;
    EXPECT_FALSE(fs::exists(out_));
  }
  EXPECT_TRUE(ZipArchive::unzipFileAtPath(archive_, out_, "pass wörd"));
  EXPECT_EQ(read(out_ / "secret"), "the contents");
  EXPECT_EQ(ZipArchive::commentOfZipFileAtPath(archive_), "open comment");
  EXPECT_EQ(ZipArchive::commentOfZipFileAtPath(archive_, "pass wörd"), "open comment");
  EXPECT_FALSE(ZipArchive::commentOfZipFileAtPath(archive_, "other", &error_));
}

TEST_F(ZipArchiveTest, AFailedArchiveLeavesTheOldOne) {
  ASSERT_TRUE(ZipArchive::zipFiles(Paths{write("a", "1")}, archive_));
  const std::string before = read(archive_);
  const auto items = tree(directory_);
  EXPECT_FALSE(
      ZipArchive::zipFiles(Paths{directory_ / "a", directory_ / "missing"}, archive_, {}, {}, &error_));
  EXPECT_NE(error_.localizedDescription.find("missing"), std::string::npos);
  EXPECT_FALSE(ZipArchive::zipFiles(Paths{directory_ / "a", directory_ / "a"}, archive_, {}, {}, &error_));
  EXPECT_FALSE(ZipArchive::zipFiles({}, archive_, {}, {}, &error_));
  EXPECT_FALSE(
      ZipArchive::zipFiles(Paths{directory_ / "a"}, archive_, {}, std::string(70'000, 'c'), &error_));
  EXPECT_EQ(read(archive_), before);
  EXPECT_EQ(tree(directory_), items);
  fs::create_directory(directory_ / "links");
  fs::create_symlink("/etc/passwd", directory_ / "links" / "link");
  EXPECT_FALSE(ZipArchive::zipFiles(Paths{directory_ / "links"}, archive_, {}, {}, &error_));
}

TEST_F(ZipArchiveTest, OthersAndItReadEachOthersArchives) {
  if (!run("python3 -c 'import zipfile'")) GTEST_SKIP() << "no Python";
  write("make.py", R"(import zipfile
class Pipe:
    def __init__(self, f): self.f = f
    def write(self, b): return self.f.write(b)
    def flush(self): self.f.flush()
with open("stream.zip", "wb") as f, zipfile.ZipFile(Pipe(f), "w", zipfile.ZIP_DEFLATED) as z:
    z.writestr("d/Zürich.txt", "é" * 1000)
    z.comment = b"by another"
with zipfile.ZipFile("bzip2.zip", "w", zipfile.ZIP_BZIP2) as z:
    z.writestr("d/Zürich.txt", "é" * 1000)
)");
  ASSERT_TRUE(run("python3 make.py"));
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "é";
  for (const char* name : {"stream.zip", "bzip2.zip"}) {
    const auto extracted = ZipArchive::unzipFileAtPath(directory_ / name, out_, {}, &error_);
    ASSERT_TRUE(extracted) << name << ": " << error_.localizedDescription;
    ASSERT_EQ(*extracted, Paths{out_ / "d" / "Zürich.txt"});
    EXPECT_EQ(read(extracted->front()), text);
    fs::remove_all(out_);
  }
  EXPECT_EQ(ZipArchive::commentOfZipFileAtPath(directory_ / "stream.zip"), "by another");
  ASSERT_TRUE(ZipArchive::zipFiles(Paths{write("Zürich.txt", "contents")}, archive_, {}, "remark"));
  EXPECT_TRUE(
      run("python3 -c \"import zipfile; z = zipfile.ZipFile('book.zip'); assert z.testzip() is None; "
          "assert z.namelist() == ['Zürich.txt'] and z.comment == b'remark'\""));
}

TEST_F(ZipArchiveTest, HostileArchivesAreRefusedAndLeaveNothing) {
  std::string deep;
  for (int i = 0; i < 600; ++i) deep += "a/";
  // Each alone would be within the bound.
  std::vector<RawEntry> swarm;
  for (int i = 0; i < 100; ++i) swarm.push_back({std::to_string(i), "x", 0100644, 500'000});
  const struct {
    const char* what;
    std::vector<RawEntry> entries;
    int code = 0;
  } kCases[] = {
      {"parent", {{"good", "1"}, {"../evil", "2"}}},
      {"parent inside", {{"good", "1"}, {"a/../../evil", "2"}}},
      {"parent at the end", {{"a/..", "2"}}},
      {"absolute", {{"good", "1"}, {"/tmp/evil", "2"}}},
      {"backslash", {{"good", "1"}, {"..\\evil", "2"}}},
      {"drive", {{"good", "1"}, {"C:evil", "2"}}},
      {"dot", {{"./evil", "2"}}},
      {"empty component", {{"a//evil", "2"}}},
      {"control character", {{"a\nb", "2"}}},
      {"empty name", {{"", "2"}}},
      {"duplicate", {{"same", "1"}, {"same", "2"}}},
      {"file and directory", {{"same", "1"}, {"same/inner", "2"}}},
      {"directory and file", {{"same/inner", "1"}, {"same", "2"}}},
      {"symbolic link", {{"good", "1"}, {"link", "/etc/passwd", 0120777}}},
      {"device", {{"device", "", 0020666}}},
      {"too deep", {{deep + "b", "1"}}},
      {"long component", {{std::string(300, 'n'), "1"}}},
      {"more bytes than stated", {{"good", "1"}, {"liar", std::string(5000, 'x'), 0100644, 10}}},
      {"fewer bytes than stated", {{"good", "1"}, {"liar", "short", 0100644, 5000}}},
      {"too large", {{"bomb", std::string(100, 'x'), 0100644, 4'000'000'000}}, FileManager::kTooLarge},
      {"too large together", swarm, FileManager::kTooLarge},
  };
  for (const auto& item : kCases) {
    const fs::path archive = write("hostile.zip", rawArchive(item.entries));
    const auto before = tree(context_.directory());
    EXPECT_FALSE(ZipArchive::unzipFileAtPath(archive, out_ / "a" / "b", {}, &error_)) << item.what;
    EXPECT_EQ(error_.domain, FileManager::kErrorDomain) << item.what;
    EXPECT_TRUE(item.code == 0 || error_.code == item.code) << item.what;
    EXPECT_EQ(tree(context_.directory()), before) << item.what;
  }
  const fs::path good = write("good.zip", rawArchive({{"d/", ""}, {"d/good", "1"}, {"plain", "2", 0}}));
  EXPECT_TRUE(ZipArchive::unzipFileAtPath(good, out_, {}, &error_)) << error_.localizedDescription;
}

TEST_F(ZipArchiveTest, ACutArchiveNoArchiveAndNoFileAreTold) {
  ASSERT_TRUE(ZipArchive::zipFiles(Paths{write("a", "some contents")}, archive_));
  const std::string good = read(archive_);
  EXPECT_FALSE(ZipArchive::unzipFileAtPath(write("cut", good.substr(0, good.size() - 1)), out_, {}, &error_));
  EXPECT_EQ(error_.code, FileManager::kBadArchive);
  EXPECT_FALSE(ZipArchive::commentOfZipFileAtPath(write("text", "no archive at all"), {}, &error_));
  EXPECT_EQ(error_.code, FileManager::kBadArchive);
  EXPECT_FALSE(ZipArchive::unzipFileAtPath(directory_ / "missing.zip", out_, {}, &error_));
  EXPECT_EQ(error_.code, FileManager::kSystemError);
  EXPECT_FALSE(fs::exists(out_));
}

TEST_F(ZipArchiveTest, ExtractingNeverReplacesFiles) {
  ASSERT_TRUE(ZipArchive::zipFiles(Paths{write("a", "new"), write("b", "new"), write("c", "new")}, archive_));
  write("out/b", "kept");
  EXPECT_FALSE(ZipArchive::unzipFileAtPath(archive_, out_, {}, &error_));
  EXPECT_EQ(tree(out_), std::vector<std::string>{"b"});
  EXPECT_EQ(read(out_ / "b"), "kept");
}

TEST_F(ZipArchiveTest, FindsTheDocumentByItsExtension) {
  const fs::path archive = write("sent.zip", rawArchive({{"__MACOSX/._Book.expenses", "fork"},
                                                         {"readme.txt", "text"},
                                                         {"inner/Book.Expenses", "store"},
                                                         {"Pack.book/", ""},
                                                         {"Pack.book/data", "data"},
                                                         {"Pack.bookish", "no"}}));
  fs::path directory;
  {
    const auto document =
        ZipArchive::unzipDocumentWithExtensions(std::array<std::string, 2>{"xyz", "expenses"}, archive);
    ASSERT_TRUE(document);
    directory = document->directory.path();
    EXPECT_EQ(document->path, directory / "inner" / "Book.Expenses");
    EXPECT_EQ(read(document->path), "store");
    EXPECT_EQ(tree(directory), (std::vector<std::string>{"inner", "inner/Book.Expenses"}));
  }
  EXPECT_FALSE(fs::exists(directory));
  const auto package = ZipArchive::unzipDocumentWithExtensions(std::array<std::string, 1>{"book"}, archive);
  ASSERT_TRUE(package);
  EXPECT_EQ(tree(package->path), std::vector<std::string>{"data"});
  EXPECT_FALSE(ZipArchive::unzipDocumentWithExtensions(std::array<std::string, 1>{"csv"}, archive, &error_));
  EXPECT_EQ(error_.code, FileManager::kArchiveEmpty);
}

}  // namespace
