// Fuzz target: the INFO body reader of single-sensor recordings (IART, IPRD, ICRD, ISFT,
// INAM, ICMT sub-chunks with 32-bit lengths).
//
// A sub-chunk whose length runs past the end stops the reading; what was read stays. A
// body read back must write a body that reads back to the same values: the writer pads
// texts and the reader strips that padding again.
//
// Campaign: -max_len=2048

#include "FuzzSupport.h"

#include <veliface/files/MavWavInfoData.h>

#include <memory>
#include <string>

namespace {

using veliface::fuzz::Bytes;

std::string describe(const MavWavInfoDataHF& i) {
  return i.deviceStr(0) + "#" + std::to_string(i.serialNo(0)) + "|" + i.hwVersion() + "|" +
         i.hwRelease() + "|" + i.creatorStr() + "|" + i.filename() + "|" +
         std::to_string(i.voltsPk()) + "|" + std::to_string(i.sensitivity(0)) + "|" +
         std::to_string(i.humidity(0)) + "|" + std::to_string(i.temperature(0)) + "|" +
         std::to_string(i.maxCount()) + "|" + std::to_string(i.seqNum());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  std::unique_ptr<MavWavInfoDataHF> info;
  {
    const veliface::fuzz::AllocWatch watch;
    info.reset(MavWavInfoDataHF::create(data, size));
  }
  FUZZ_CHECK(info != nullptr);
  const std::string first = describe(*info);
  veliface::fuzz::keep(first.size() + static_cast<std::size_t>(info->timestamp()));

  // The written body must be exactly as long as announced, and read back to the same
  // values. Texts that carry the separators or the padding the writer adds are not
  // expected to survive; those values are left as they were (empty).
  const auto plain = [](const std::string& t) {
    return t.find_first_of(" #") == std::string::npos && t.find('\0') == std::string::npos;
  };
  if (!plain(info->hwVersion()) || !plain(info->hwRelease()) || !plain(info->creatorStr()) ||
      !plain(info->filename())) {
    return 0;
  }
  const uint64 expected = info->serializedSize();
  Bytes body(expected);
  uint64 len = 0;
  info->serialize(&len, body.data());
  FUZZ_CHECK(len == expected);
  const std::unique_ptr<MavWavInfoDataHF> again(MavWavInfoDataHF::create(body.data(), len));
  FUZZ_CHECK(again != nullptr);
  FUZZ_CHECK(describe(*again) == first);
  return 0;
}
