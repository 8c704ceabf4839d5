#include <veliface/control/internal/ControlDispatch.h>

#include <veliface/settings/VelJobSetup.h>

#include <iterator>

namespace veliface::control {
namespace {

constexpr RouteKind kNotHandled = RouteKind::NotHandled;

// Response codes and their handling. Set time, job setup, enquire, setup enquiry and data
// collect go straight to the end state without reading their CRC (the devices' firmware
// does not guarantee it for these); the trigger and reset responses are CRC-checked.
// Data collect is the only one whose payload is not folded into the CRC at all.
const ControlRoute kRoutes[] = {
    {0x41, kNotHandled, nullptr, true},  // SetTime
    {0x42, RouteKind::Consume, nullptr, true},  // SetBaud: payload consumed, nothing kept
    {0x43, kNotHandled, nullptr, false},  // CollectData
    {0x44, RouteKind::Deliver, &readPayloadAs<VelJobSetupCmd>, true},  // JobSetup
    {0x45, kNotHandled, nullptr, true},  // Enquire
    {0x46, RouteKind::Deliver, &readPayloadAs<VelJobSetupEnq>, true},  // EnquireSetup
    {0x48, kNotHandled, nullptr, true},  {0x49, kNotHandled, nullptr, true},
    {0x4A, kNotHandled, nullptr, true},  {0x4B, kNotHandled, nullptr, true},
    {0x4C, kNotHandled, nullptr, true},  {0x4D, kNotHandled, nullptr, true},
    {0x4E, kNotHandled, nullptr, true},  {0x4F, kNotHandled, nullptr, true},
    {0x51, kNotHandled, nullptr, true},
    {0x52, kNotHandled, nullptr, true},  // EnquireTriggers
    {0x53, kNotHandled, nullptr, true},  // SetupTrigger
    {0x54, kNotHandled, nullptr, true},  {0x55, kNotHandled, nullptr, true},
    {0x56, kNotHandled, nullptr, true},
    {0x59, kNotHandled, nullptr, true},  // ResetDevice
    {0x5A, kNotHandled, nullptr, true},  {0x5B, kNotHandled, nullptr, true},
};

}  // namespace

const ControlRoute* findControlRoute(uint8 code) {
  for (const ControlRoute& r : kRoutes) {
    if (r.code == code) return &r;
  }
  return nullptr;
}

}  // namespace veliface::control
