#pragma once
// How a recorder takes a stream message: an event header carries the setup (and the second)
// of what follows, a data payload carries samples or spectra; any other payload is none of a
// recorder's business and is passed over.

#include <veliface/record/CutChunks.h>
#include <veliface/stream/VelStreamMessage.h>
#include <veliface/stream/VelStreamPayloads.h>

namespace veliface::record {

// Hands `message` to `rec.onHeader` or `rec.onData` by the kind of its payload.
template <typename Recorder>
void dispatchPayload(Recorder& rec, const VelStreamMessage& message) {
  const auto& payload = message.payload();
  if (const auto* hdr = dynamic_cast<const VelStreamEventHeaderPayload*>(payload.get())) {
    // A header cut short names no second and describes no setup: the next one will.
    if (headerIsWhole(*hdr)) rec.onHeader(*hdr);
  } else if (const auto* data = dynamic_cast<const VelStreamDataPayload*>(payload.get())) {
    rec.onData(*data);
  }
}

}  // namespace veliface::record
