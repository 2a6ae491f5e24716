#include "platform/file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/user.h"
#include "platform/win32/access_for_tests.h"
#include "platform/win32/utf16.h"

namespace brennox::platform {
namespace {

namespace fs = std::filesystem;

class FileOnWindows : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = fs::temp_directory_path() /
              (L"brennox-file-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
               std::to_wstring(reinterpret_cast<std::uintptr_t>(this)));
    fs::create_directories(folder_);
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  std::string path(const std::string& name) const {
    return toUtf8(folder_.wstring()).value() + "\\" + name;
  }
  std::string contents(const std::string& name) const {
    const Ref<Block> block = readFile(path(name));
    return block ? std::string(block->bytes(), block->size()) : "cannot be read";
  }

  fs::path folder_;
};

TEST_F(FileOnWindows, HasAnyName) {
  for (const char* name : {"письмо.eml", "\xF0\x9F\x93\xA7.eml", "a b'c.eml"}) {
    EXPECT_TRUE(writeFileWhole(path(name), "one\n")) << name;
    EXPECT_TRUE(writeFileWhole(path(name), "two\r\n\x1A three")) << name;
    EXPECT_EQ(contents(name), "two\r\n\x1A three") << name;
    EXPECT_TRUE(fileInfo(path(name)).isRegular) << name;
  }
  EXPECT_EQ(folderNames(path(""), 10),
            (std::vector<std::string>{"a b'c.eml", "письмо.eml", "\xF0\x9F\x93\xA7.eml"}));
  EXPECT_EQ(folderNames(path(""), 2).size(), 2U);
  EXPECT_FALSE(writeFileWhole(path("\xFF.eml"), "x"));
  EXPECT_FALSE(readFile(path("\xFF.eml")));
}

TEST_F(FileOnWindows, MayHaveALongPath) {
  std::string name;
  std::wstring folder = L"\\\\?\\" + folder_.wstring();
  for (int i = 0; i < 4; ++i) {
    name += std::string(100, static_cast<char>('a' + i)) + "/";
    folder += L"\\" + std::wstring(100, static_cast<wchar_t>(L'a' + i));
    ASSERT_NE(CreateDirectoryW(folder.c_str(), nullptr), FALSE);
  }
  EXPECT_TRUE(writeFileWhole(path(name + "x.eml"), "long"));
  EXPECT_EQ(contents(name + "x.eml"), "long");
  EXPECT_TRUE(fileInfo(path(name)).isFolder);
  EXPECT_EQ(folderNames(path(name), 10), std::vector<std::string>{"x.eml"});
  // What cleans up knows no long paths.
  DeleteFileW((folder + L"\\x.eml").c_str());
  for (int i = 0; i < 4; ++i) {
    RemoveDirectoryW(folder.c_str());
    folder.resize(folder.size() - 101);
  }
}

TEST_F(FileOnWindows, ThatMayNotBeWrittenStaysUntouched) {
  ASSERT_TRUE(writeFileWhole(path("a.eml"), "kept"));
  SetFileAttributesW((folder_ / "a.eml").c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(writeFileWhole(path("a.eml"), "new"));
  EXPECT_EQ(contents("a.eml"), "kept");
  EXPECT_EQ(folderNames(path(""), 10), std::vector<std::string>{"a.eml"});
  SetFileAttributesW((folder_ / "a.eml").c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(FileOnWindows, IsWrittenWhileSomebodyReadsIt) {
  ASSERT_TRUE(writeFileWhole(path("a.eml"), "old"));
  const HANDLE reader = CreateFileW((folder_ / "a.eml").c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(writeFileWhole(path("a.eml"), "new"));
  char byte = 0;
  DWORD got = 0;
  EXPECT_NE(ReadFile(reader, &byte, 1, &got, nullptr), FALSE);
  EXPECT_EQ(byte, 'o');
  CloseHandle(reader);
  EXPECT_EQ(contents("a.eml"), "new");
}

TEST_F(FileOnWindows, IsPrivateByItsAccessList) {
  ASSERT_TRUE(writeFileWhole(path("key.pem"), "secret"));
  std::string bytes;
  ASSERT_TRUE(setAccess(folder_ / "key.pem", 0));
  EXPECT_TRUE(fileInfo(path("key.pem")).isOwn);
  EXPECT_FALSE(fileInfo(path("key.pem")).isOpenToOthers);
  EXPECT_EQ(readPrivateFile(path("key.pem"), 100, bytes), PrivateRead::kRead);
  EXPECT_EQ(bytes, "secret");
  EXPECT_EQ(readPrivateFile(path("key.pem"), 5, bytes), PrivateRead::kMissing);

  ASSERT_TRUE(setAccess(folder_ / "key.pem", FILE_GENERIC_READ));
  EXPECT_TRUE(fileInfo(path("key.pem")).isOpenToOthers);
  EXPECT_FALSE(fileInfo(path("key.pem")).isWritableByAnybody);
  EXPECT_EQ(readPrivateFile(path("key.pem"), 100, bytes), PrivateRead::kTooOpen);
  EXPECT_EQ(bytes, "");

  ASSERT_TRUE(setAccess(folder_ / "key.pem", FILE_GENERIC_READ | FILE_GENERIC_WRITE));
  EXPECT_TRUE(fileInfo(path("key.pem")).isWritableByAnybody);
  EXPECT_EQ(readPrivateFile(path("none.pem"), 100, bytes), PrivateRead::kMissing);
  EXPECT_EQ(readPrivateFile(path(""), 100, bytes), PrivateRead::kMissing);
}

TEST_F(FileOnWindows, HasATimeOfTheFileClock) {
  const std::int64_t before = fileClock();
  ASSERT_TRUE(writeFileWhole(path("a.eml"), "x"));
  constexpr std::int64_t kSeconds = 5'000'000'000;
  const FileInfo info = fileInfo(path("a.eml"));
  EXPECT_GT(info.modified, before - kSeconds);
  EXPECT_LT(info.modified, fileClock() + kSeconds);
  EXPECT_EQ(info.size, 1U);
  ASSERT_TRUE(writeFileWhole(path("b.eml"), "x"));
  EXPECT_NE(fileInfo(path("b.eml")).identity, info.identity);
}

TEST_F(FileOnWindows, CanBeADevice) {
  EXPECT_TRUE(writeFileWhole("NUL", "into nothing"));
  const Ref<Block> block = readFile("NUL");
  ASSERT_TRUE(block);
  EXPECT_EQ(block->size(), 0U);
}

TEST(UserOnWindows, HasADataFolder) {
  const std::string folder = userDataFolder();
  EXPECT_TRUE(fileInfo(folder).isFolder) << folder;
  const std::wstring before = toUtf16(folder).value();
  SetEnvironmentVariableW(L"LOCALAPPDATA", L"relative");
  EXPECT_TRUE(fileInfo(userDataFolder()).isFolder);
  SetEnvironmentVariableW(L"LOCALAPPDATA", L"C:\\Почта");
  EXPECT_EQ(userDataFolder(), "C:\\Почта");
  SetEnvironmentVariableW(L"LOCALAPPDATA", before.c_str());
}

}  // namespace
}  // namespace brennox::platform
