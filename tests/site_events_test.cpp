// The events that a control's place on a form fires for it: through a second connection point of
// the same object, whose interface is IDispatch itself.
#include "support/test_client.h"

namespace {

constexpr wchar_t kSite[] = L"{00020400-0000-0000-C000-000000000046}";
constexpr auto kEnter = static_cast<DISPID>(0x80018202);

TEST_F(CollectionTest, HearsAControlAndItsPlaceOnAForm) {
  TestClient client(z.get());
  const auto control = added();
  control->behaviour.events = IID_IDispatch;
  ASSERT_EQ(S_OK, add(z.get(), control.get(), {.key = L"site", .sourceIID = kSite}));
  ASSERT_EQ(2u, control->sinks.size());
  const auto connected = control->sinks;
  control->sinks = {connected[1]};
  control->fire(kEnter);
  control->sinks = {connected[0]};
  control->fire(1);
  ASSERT_EQ(2u, client.heard.size());
  EXPECT_EQ(std::tuple(2, L"80018202"), std::tuple(client.heard[0].index, client.heard[0].name));
  EXPECT_EQ(std::tuple(1, L"Fired"), std::tuple(client.heard[1].index, client.heard[1].name));
  control->sinks = connected;
  EXPECT_EQ(S_OK, z->RemoveByKey(Text(L"site").get()));
  EXPECT_FALSE(control->sinks[1]) << "let go of through the same point";
  control->behaviour.events = __uuidof(PlainEvents);
}

}  // namespace
