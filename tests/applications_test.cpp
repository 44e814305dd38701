// Finding and messaging other applications: windows tagged like theirs, and an object among the
// running ones. samples/messages, a test too, does it between processes.
#include "support/com.h"

namespace {

using Message = std::tuple<WPARAM, LONG, std::string>;
Message last;

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM sender, LPARAM content) {
  if (message != WM_COPYDATA) return DefWindowProcW(window, message, sender, content);
  const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(content);
  last = {sender, static_cast<LONG>(data.dwData),
          std::string(static_cast<const char*>(data.lpData), data.cbData)};
  return TRUE;
}

LONG taggedWindow(const wchar_t* tag, LONG_PTR value) {
  const HWND window =
      CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
  SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(onMessage));
  SetPropW(window, tag, reinterpret_cast<HANDLE>(value));
  return reinterpret_cast<LONG>(window);
}

using Applications = SupportTest;

TEST_F(Applications, AreFoundByTheTagOfTheirWindowAndGetTextsAndNumbers) {
  const LONG two = taggedWindow(L"zsuTwo_APPLICATION", 2),
             below = taggedWindow(L"zsuOne_APPLICATION", 1),
             top = taggedWindow(L"zsuOne_APPLICATION", 1);
  const std::pair<std::wstring, LONG> tags[] = {
      {L"zsuOne", top}, {L"zsuTwo", 0}, {L"", 0}, {L"zsuNone", 0}, {std::wstring(9'999, L'x'), 0}};
  for (const auto& [tag, expected] : tags) {
    LONG window = 7;
    EXPECT_EQ(S_OK, support->GetTaggedWindow2(Text(tag).get(), &window));
    EXPECT_EQ(expected, window) << tag;
  }
  const std::pair<std::wstring, std::string> texts[] = {
      {L"", std::string(1, '\0')},
      {L"caf\u00e9 \u4e2d", "caf\xE9 ?"},
      {std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
      {std::wstring(10'000'000, L'x'), std::string(10'000'000, 'x')}};
  LONG number = -3;
  for (const auto& [text, bytes] : texts) {
    EXPECT_EQ(S_OK, support->SendData(top, Text(text).get(), ++number));
    EXPECT_TRUE(Message(0, number, bytes) == last) << number;
  }
  for (const LONG window : {two, below, top}) DestroyWindow(reinterpret_cast<HWND>(window));
  for (const LONG gone : {top, 0L, -2L}) {
    EXPECT_EQ(S_OK, support->SendData(gone, Text(L"abc").get(), 1));
  }
}

TEST_F(Applications, LendTheirRunningObjects) {
  const auto running = newCollection();
  const auto isFound = [&](const wchar_t* className, bool alwaysRunning, bool create) {
    VARIANT_BOOL flags[] = {flag(alwaysRunning), flag(create)};
    ComPtr<IDispatch> found;
    EXPECT_EQ(S_OK,
              support->GetROTObject(Text(className).inout(), &flags[0], &flags[1], found.put()));
    return std::pair(static_cast<bool>(found), found.get() == running.get());
  };
  constexpr std::pair kNone(false, false), kNew(true, false), kRunning(true, true);
  for (const bool isRunning : {false, true}) {
    DWORD cookie = 0;
    if (isRunning)
      RegisterActiveObject(running.get(), __uuidof(Zollection), ACTIVEOBJECT_STRONG, &cookie);
    for (const auto& [always, create] :
         {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
      // A new one that is to be running would be one that nobody else can find.
      const auto otherwise = create && !always ? kNew : kNone;
      EXPECT_EQ(isRunning ? kRunning : otherwise, isFound(L"ZSupport.Zollection", always, create));
      EXPECT_EQ(otherwise, isFound(L"ZSupport.GZSupport", always, create));
      EXPECT_EQ(kNone, isFound(L"No.SuchClass", always, create));
    }
    RevokeActiveObject(cookie, nullptr);
  }
}

}  // namespace
