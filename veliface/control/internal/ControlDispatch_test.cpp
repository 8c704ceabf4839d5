#include <veliface/control/internal/ControlDispatch.h>

#include <gtest/gtest.h>

#include <map>

using veliface::control::findControlRoute;
using veliface::control::RouteKind;

TEST(ControlDispatch, EveryCodeFindsItsOwnRowOrNone) {
  // The response codes the processor knows and what it does with each.
  const std::map<unsigned, RouteKind> known = {
      {0x41, RouteKind::Deliver},         {0x42, RouteKind::Consume},
      {0x43, RouteKind::Deliver},         {0x44, RouteKind::Deliver},
      {0x45, RouteKind::Deliver},         {0x46, RouteKind::Deliver},
      {0x48, RouteKind::NotHandled},      {0x49, RouteKind::NotHandled},
      {0x4A, RouteKind::NotHandled},      {0x4B, RouteKind::NotHandled},
      {0x4C, RouteKind::NotHandled},      {0x4D, RouteKind::NotHandled},
      {0x4E, RouteKind::NotHandled},      {0x4F, RouteKind::NotHandled},
      {0x51, RouteKind::NotHandled},      {0x52, RouteKind::DeliverAfterCrc},
      {0x53, RouteKind::DeliverAfterCrc}, {0x54, RouteKind::NotHandled},
      {0x55, RouteKind::NotHandled},      {0x56, RouteKind::NotHandled},
      {0x59, RouteKind::DeliverAfterCrc}, {0x5A, RouteKind::NotHandled},
      {0x5B, RouteKind::NotHandled}};
  for (unsigned code = 0; code < 256; ++code) {
    const auto* route = findControlRoute(static_cast<uint8>(code));
    const auto it = known.find(code);
    if (it == known.end()) {
      EXPECT_EQ(route, nullptr) << "code " << code;
      continue;
    }
    ASSERT_NE(route, nullptr) << "code " << code;
    EXPECT_EQ(route->code, code);
    EXPECT_EQ(route->kind, it->second) << "code " << code;
    const bool delivers = it->second == RouteKind::Deliver || it->second == RouteKind::DeliverAfterCrc;
    EXPECT_EQ(route->read != nullptr, delivers) << "code " << code;
  }
}
