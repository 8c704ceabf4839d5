#include <veliface/control/internal/ControlDispatch.h>

#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/stream/VelDataCollectCmd.h>
#include <veliface/trigger/VelEnquireTrigger.h>
#include <veliface/trigger/VelTrigger.h>

#include <array>
#include <iterator>

namespace veliface::control {
namespace {

constexpr RouteKind kNotHandled = RouteKind::NotHandled;

// Response codes and their handling. Set time, job setup, enquire, setup enquiry and data
// collect go straight to the end state without reading their CRC: this split is deliberate
// and kept, their two CRC bytes stay in the buffer and the next search for "*" skips them.
// The trigger and reset responses are CRC-checked. Data collect is the only one whose
// payload is not folded into the CRC at all.
constexpr ControlRoute kRoutes[] = {
    {0x41, RouteKind::Deliver, &readPayloadAs<VelSetTimeCmd>, true},  // SetTime
    {0x42, RouteKind::Consume, nullptr, true},  // SetBaud: payload consumed, nothing kept
    {0x43, RouteKind::Deliver, &readPayloadAs<VelDataCollectCmd>, false},  // CollectData
    {0x44, RouteKind::Deliver, &readPayloadAs<VelJobSetupCmd>, true},  // JobSetup
    {0x45, RouteKind::Deliver, &readPayloadAs<VelEnquireCmd>, true},  // Enquire
    {0x46, RouteKind::Deliver, &readPayloadAs<VelJobSetupEnq>, true},  // EnquireSetup
    {0x48, kNotHandled, nullptr, true},  {0x49, kNotHandled, nullptr, true},
    {0x4A, kNotHandled, nullptr, true},  {0x4B, kNotHandled, nullptr, true},
    {0x4C, kNotHandled, nullptr, true},  {0x4D, kNotHandled, nullptr, true},
    {0x4E, kNotHandled, nullptr, true},  {0x4F, kNotHandled, nullptr, true},
    {0x51, kNotHandled, nullptr, true},
    {0x52, RouteKind::DeliverAfterCrc, &readPayloadAs<VelEnquireTrigger>, true},  // EnquireTriggers
    {0x53, RouteKind::DeliverAfterCrc, &readPayloadAs<VelTrigger>, true},  // SetupTrigger
    {0x54, kNotHandled, nullptr, true},  {0x55, kNotHandled, nullptr, true},
    {0x56, kNotHandled, nullptr, true},
    {0x59, RouteKind::DeliverAfterCrc, &readPayloadAs<VelResetCmd>, true},  // ResetDevice
    {0x5A, kNotHandled, nullptr, true},  {0x5B, kNotHandled, nullptr, true},
};

constexpr uint8 kNoRoute = 0xFF;
static_assert(std::size(kRoutes) < kNoRoute, "row numbers must fit below the no-route mark");

// Row number of every code, so that each frame finds its row with one look-up.
constexpr std::array<uint8, 256> makeRouteIndex() {
  std::array<uint8, 256> index{};
  for (uint8& row : index) row = kNoRoute;
  for (std::size_t i = 0; i < std::size(kRoutes); ++i) index[kRoutes[i].code] = static_cast<uint8>(i);
  return index;
}

constexpr std::array<uint8, 256> kRouteIndex = makeRouteIndex();

}  // namespace

const ControlRoute* findControlRoute(uint8 code) {
  const uint8 row = kRouteIndex[code];
  return row == kNoRoute ? nullptr : &kRoutes[row];
}

}  // namespace veliface::control
