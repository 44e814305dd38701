// Folders, temporary files, and path names.
#include "support/com.h"

namespace {

constexpr LONG kAppData = 26, kCommonAppData = 35, kPersonal = 5, kFonts = 20, kCreate = 0x8000;

bool isFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

class Folders : public SupportTest {
 protected:
  Folders() { CreateDirectoryW(root.c_str(), nullptr); }
  ~Folders() override { EXPECT_EQ(0, _wsystem((L"rd /s /q " + root).c_str())); }

  std::wstring folder(LONG id, std::wstring_view below = {}) {
    Text path;
    EXPECT_EQ(S_OK, support->GetFolderPath(&id, Text(below).get(), path.inout()));
    return std::wstring(path.view());
  }
  const std::wstring root = L"C:\\zsupport-folders";
};

TEST_F(Folders, OfTheShellAreFoundAndMadeBelow) {
  for (const LONG id : {kAppData, kCommonAppData, kPersonal, kFonts}) {
    EXPECT_TRUE(isFolder(folder(id))) << id;
    EXPECT_FALSE(folder(id).ends_with(L"\\"));
  }
  EXPECT_EQ(L"", folder(kAppData, std::wstring(100'000, L'x')));
  EXPECT_EQ(L"", folder(kAppData, L"\u4e2d")) << "which the code page lacks";

  const std::wstring parent = folder(kAppData) + L"\\zsupport-test", below = parent + L"\\deep";
  for (const bool isMade : {false, true}) {
    EXPECT_EQ(below, folder(kAppData | (isMade ? kCreate : 0), L"zsupport-test\\deep"));
    EXPECT_EQ(isMade, isFolder(below));
  }
  EXPECT_TRUE(RemoveDirectoryW(below.c_str()) && RemoveDirectoryW(parent.c_str()));
}

TEST_F(Folders, AreMadeAlongAPath) {
  const std::wstring file = root + L"\\file";
  CloseHandle(CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
  constexpr LONG kAny = -1;
  const std::tuple<std::wstring, LONG, std::wstring> paths[] = {
      {root + L"\\a\\b\\c", 0, L"\\a\\b\\c"},
      {root + L"\\d\\", 0, L"\\d"},
      {root + L"\\a\\\\x", 0, L"\\a\\x"},
      {root + L"\\caf\u00e9", 0, L"\\caf\u00e9"},
      {L"", 0, L""},
      {L"no separator", 0, L""},
      {L"C:\\", 0, L""},
      {L"\\\\server\\share", 0, L""},
      {L"C:\\\\x\\y", 0, L""},
      {file, 75, L""},
      {L"Q:\\a", 76, L""},
      {root + L"\\\u4e2d", 52, L""},
      {root + L"\\?", 52, L""},
      {root + L"\\a\\" + std::wstring(1, L'\0'), 52, L""},
      {L"\\\\\u4e2d\\C:\\a", 52, L""},
      {root + std::wstring(9999, L'x'), kAny, L""}};
  for (const auto& [path, error, made] : paths) {
    VARIANT_BOOL exists = 0x55;
    const HRESULT result = support->EnsureDirExists(Text(path).inout(), &exists);
    EXPECT_EQ(error == 0, result == S_OK) << path;
    EXPECT_TRUE(error <= 0 || result == runtimeError(error)) << path;
    EXPECT_EQ(flag(error == 0), exists);
    EXPECT_TRUE(isFolder(root + made));
  }
}

TEST_F(Folders, HoldNewTemporaryFiles) {
  Text temporary, chosen, path, prefix(L"zst");
  EXPECT_EQ(S_OK, support->GetTempPath(temporary.inout()));
  EXPECT_TRUE(temporary.view().ends_with(L"\\") && isFolder(temporary.get()));
  EXPECT_EQ(S_OK, support->GetTempFileName2(chosen.inout(), prefix.inout(), path.inout()));
  EXPECT_EQ(temporary.view(), chosen.view()) << "the caller learns the folder";
  EXPECT_TRUE(path.view().starts_with(std::wstring(temporary.view()) + L"zst"));
  EXPECT_TRUE(DeleteFileW(path.get()));

  for (const std::wstring& unusable : {root + L"\\none", std::wstring(5'000, L'x')}) {
    EXPECT_EQ(runtimeError(5),
              support->GetTempFileName2(Text(unusable).inout(), prefix.inout(), path.inout()));
  }
}

using Names = SupportTest;

TEST_F(Names, OfPathsLoseWhatAPathCannotHold) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"", L""},
      {L" a  ||  b?c ", L"a b c"},
      {L"C:\\Data:Old\\x", L"C:\\Data Old\\x"},
      {L"a/b//c|d", L"a/b//c d"},
      {L":::a", L":: a"},
      {L"a\tb\x01", L"a b"},
      {L"\u4e2d\u6587.txt", L".txt"}};
  for (const auto& [text, legal] : cases) {
    Text path;
    EXPECT_EQ(S_OK, support->MakeLegalPath(Text(text).get(), path.inout()));
    EXPECT_EQ(legal, path.view());
  }
}

TEST_F(Names, OfExistingPathsGrowLongAndEndInAZero) {
  Text path, shortPath(L"C:\\WINDOWS\\system32"), missing(L"C:\\no\\such\\path");
  EXPECT_EQ(S_OK, support->GetLongPathName(shortPath.inout(), path.inout()));
  EXPECT_EQ(0, _wcsicmp(path.get(), shortPath.get()));
  EXPECT_EQ(shortPath.view().size() + 1, path.view().size());
  EXPECT_EQ(runtimeError(9), support->GetLongPathName(missing.inout(), path.inout()));
}

}  // namespace
