#pragma once
// A spectrum data line formatted straight into UTF-8 bytes, for the writer's hot path: the same
// characters that the line's wide stream insertion gives, without widening every digit into
// the stream and narrowing it again in the file buffer.

#include <ios>
#include <string>

class MavSpectrumFileData;

namespace veliface::files {

// Appends the data line of `d` (line end included) to `out` as a stream in the formatting
// state `fmt` would write it. False, with `out` unchanged, when `fmt` asks for something this
// routine does not reproduce (a field width, a sign or base of its own, a locale with its own
// decimal point or digit grouping, upper-case or hexadecimal floats); the caller then writes
// the line through the stream.
bool appendDataLine(std::string& out, const MavSpectrumFileData& d, const std::ios_base& fmt);

}  // namespace veliface::files
