// Fuzz target: the trigger enquiry response, a count followed by length-prefixed trigger
// records of every test type, and the error texts of the records it yields.
//
// Campaign: -max_len=2048

#include "FuzzSupport.h"

#include <veliface/trigger/VelEnquireTrigger.h>

#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  std::unique_ptr<VelEnquireTrigger> e;
  {
    const veliface::fuzz::AllocWatch watch;
    e.reset(VelEnquireTrigger::create(data, size));
  }
  FUZZ_CHECK(e != nullptr);
  // The count is the first byte as sent, whatever follows it; no more records than it
  // announces are ever read.
  FUZZ_CHECK(e->count() == (size > 0 ? data[0] : 0));
  const auto triggers = e->triggers();
  FUZZ_CHECK(triggers.size() <= e->count());
  std::size_t used = 0;
  for (const auto& t : triggers) {
    if (!t) continue;
    used += t->testType() + t->payloadLen() + t->errorMes(true).size() + t->errorMes(false).size();
  }
  veliface::fuzz::keep(used);
  return 0;
}
