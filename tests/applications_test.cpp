// Finding and messaging other applications: real ones, in processes of their own.
#include "support/late_call.h"
#include "support/neighbour.h"

namespace {

class Applications : public SupportTest {
 protected:
  LONG tagged(std::wstring_view application) {
    LONG window = 7;
    EXPECT_EQ(S_OK, support->GetTaggedWindow2(Text(application).get(), &window));
    return window;
  }
  HWND taggedWindow(std::wstring_view application) {
    return reinterpret_cast<HWND>(tagged(application));
  }
  ComPtr<IDispatch> object(std::wstring_view className, bool alwaysRunning, bool create) {
    VARIANT_BOOL flags[] = {flag(alwaysRunning), flag(create)};
    ComPtr<IDispatch> found;
    EXPECT_EQ(S_OK,
              support->GetROTObject(Text(className).inout(), &flags[0], &flags[1], found.put()));
    return found;
  }
};

TEST_F(Applications, AreFoundByTheTagOfTheirWindow) {
  const Neighbour neighbour;
  EXPECT_NE(0, tagged(L"zsuOne"));
  EXPECT_EQ(0, tagged(L"zsuTwo")) << "a tag of value 2";
  for (const std::wstring& nobody :
       {std::wstring(), std::wstring(L"zsuNone"), std::wstring(9'999, L'x')}) {
    EXPECT_EQ(0, tagged(nobody));
  }
  HWND first = nullptr;
  while ((first = FindWindowExW(nullptr, first, L"zsupport-neighbour", nullptr)) &&
         !GetPropW(first, L"zsuBoth_APPLICATION")) {
  }
  EXPECT_EQ(first, taggedWindow(L"zsuBoth"));
}

TEST_F(Applications, GetTextsAndNumbers) {
  const auto neighbour = std::make_unique<Neighbour>();
  const HWND window = taggedWindow(L"zsuOne");
  const std::pair<std::wstring, std::string> cases[] = {
      {L"", std::string(1, '\0')},
      {L"caf\u00e9 \u4e2d", "caf\xE9 ?"},
      {std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
      {std::wstring(10'000'000, L'x'), std::string(10'000'000, 'x')}};
  LONG number = -3;
  for (const auto& [text, bytes] : cases) {
    EXPECT_EQ(S_OK, support->SendData(reinterpret_cast<LONG>(window), Text(text).get(), ++number));
    EXPECT_EQ(static_cast<LRESULT>(checksumOf(bytes.data(), bytes.size(), number)),
              SendMessageW(window, kAskChecksum, 0, 0));
  }
}

TEST_F(Applications, ThatAreGoneOrNeverWereAreNoError) {
  HWND gone;
  {
    const Neighbour neighbour;
    gone = taggedWindow(L"zsuOne");
  }
  for (const LONG window : {reinterpret_cast<LONG>(gone), 0L, -2L}) {
    EXPECT_EQ(S_OK, support->SendData(window, Text(L"abc").get(), 1));
  }
  EXPECT_FALSE(object(L"ZSupport.Zollection", false, false));
}

TEST_F(Applications, LendTheirRunningObjects) {
  const std::wstring z = L"ZSupport.Zollection", other = L"ZSupport.GZSupport";
  EXPECT_FALSE(object(z, false, false)) << "not running, and not wanted otherwise";
  EXPECT_TRUE(object(z, false, true)) << "a new one";
  EXPECT_FALSE(object(z, true, true)) << "a new one that nobody else can find";
  const Neighbour neighbour;
  for (const bool always : {false, true}) {
    for (const bool create : {false, true}) {
      const auto running = object(z, always, create);
      ASSERT_TRUE(running);
      const Call count(running.get(), L"Count", {}, DISPATCH_PROPERTYGET);
      EXPECT_EQ(3, V_I4(&count.value.get())) << "the neighbour's";
      EXPECT_FALSE(object(L"No.SuchClass", always, create));
      EXPECT_EQ(!always && create, static_cast<bool>(object(other, always, create)));
    }
  }
}

}  // namespace
