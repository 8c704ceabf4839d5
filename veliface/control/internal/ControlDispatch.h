#pragma once
// Which payload class the control processor builds for which response code, and what the
// processor does after the payload. This table is the one place that changes when a
// response class is added.

#include <mavcommon/MavTypes.h>
#include <veliface/common/VelCommandPayload.h>

#include <memory>

namespace veliface::control {

/// What follows a response's payload.
enum class RouteKind : uint8 {
  Deliver,          ///< message delivered, CRC bytes left unread in the buffer
  DeliverAfterCrc,  ///< CRC read and checked, message delivered only when it matches
  Consume,          ///< payload consumed, no message, CRC not read
  NotHandled        ///< known code the library does not handle: logged, payload dropped
};

/// Builds a payload object from a payload's bytes.
using PayloadReader = std::shared_ptr<VelControlMsgPayload> (*)(const uint8* data, uint64 count);

/// One row of the dispatch table.
struct ControlRoute {
  uint8 code;           ///< response code
  RouteKind kind;       ///< what the processor does
  PayloadReader read;   ///< payload class reader (Deliver kinds only)
  bool foldCrc;         ///< whether the payload bytes enter the running CRC
};

/// The row for `code`, or nullptr for an unknown code.
const ControlRoute* findControlRoute(uint8 code);

/// Reader for a class `T` with the wire contract's static `create`.
template <typename T>
std::shared_ptr<VelControlMsgPayload> readPayloadAs(const uint8* data, uint64 count) {
  return std::shared_ptr<VelControlMsgPayload>(T::create(data, count));
}

}  // namespace veliface::control
