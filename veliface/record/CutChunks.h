#pragma once
/// \file Telling a stream message that arrived whole from one whose chunks were cut short.
///
/// A chunk cut short by the end of its frame is still delivered: a fixed chunk reads as all
/// zero, its type byte included, and a data chunk is marked corrupted. Recording must not
/// take a second, a setup or a sample position from such a chunk.

class VelStreamEventHeaderPayload;
class VelStreamDataChunk;

namespace veliface::record {

/// Whether the header's event key and setup chunk arrived whole (a header without them has
/// nothing to be whole about and is passed as whole: its readers find them missing).
bool headerIsWhole(const VelStreamEventHeaderPayload& hdr);

/// Whether the data chunk's head (sample number, channels, format, count) arrived; its
/// samples may still be missing (`isCorrupted()`).
bool dataHeadIsWhole(const VelStreamDataChunk& chunk);

}  // namespace veliface::record
