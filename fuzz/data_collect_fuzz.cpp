// Fuzz target: the collect-data response, its mask-selected chunks and extended chunks.
//
// Campaign: -max_len=4096

#include "FuzzSupport.h"

#include <veliface/stream/VelDataCollectCmd.h>

#include <memory>

namespace {

// Whether the chunk stored under `key` is of the class that the key names.
bool storedAsItsClass(const VelDataCollectCmd& c, DataCollMask key) {
  const DataCollChunk* chunk = c.getChunk(key).get();
  switch (key) {
    case DC_HUMIDITY: return dynamic_cast<const DataCollHumidityChunk*>(chunk) != nullptr;
    case DC_TEMPERATURE: return dynamic_cast<const DataCollTemperatureChunk*>(chunk) != nullptr;
    case DC_SPEC: return dynamic_cast<const DataCollSpecChunk*>(chunk) != nullptr;
    case DC_WAV: return dynamic_cast<const DataCollWavChunk*>(chunk) != nullptr;
    case DC_HEADING: return dynamic_cast<const DataCollHeadingChunk*>(chunk) != nullptr;
    case DC_SPEC_TIME: return dynamic_cast<const DataCollSpecTimeChunk*>(chunk) != nullptr;
    case DC_WAV_TIME: return dynamic_cast<const DataCollWavTimeChunk*>(chunk) != nullptr;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  std::unique_ptr<VelDataCollectCmd> c;
  {
    const veliface::fuzz::AllocWatch watch;
    c.reset(VelDataCollectCmd::create(data, size));
  }
  FUZZ_CHECK(c != nullptr);
  FUZZ_CHECK(c->mask() == (size > 0 ? data[0] : 0));
  for (DataCollMask key : c->chunkKeys()) FUZZ_CHECK(storedAsItsClass(*c, key));

  // A data block is either all there or not kept at all.
  if (const auto wav = c->chunk<DataCollWavChunk>()) {
    FUZZ_CHECK(wav->wavData().empty() || wav->wavData().size() == wav->numBytes());
  }
  if (const auto spec = c->chunk<DataCollSpecChunk>()) {
    FUZZ_CHECK(spec->specData().empty() || spec->specData().size() == spec->numBytes());
  }
  const std::size_t samples = c->takeWavData().size() + c->takeSpecData().size();
  FUZZ_CHECK(c->takeWavData().empty() && c->takeSpecData().empty());
  veliface::fuzz::keep(samples + c->chunkKeys().size());
  return 0;
}
