// Fuzz target: the one-line text form of the settings tags ("$NAME=value").
//
// A value text that is not a number makes the conversion throw std::invalid_argument, one
// out of int range std::out_of_range; both are part of the contract and are caught here,
// nothing else is. A tag that parsed must print a text that parses to the same tag again,
// except that an unsigned value above INT_MAX (a negative text wraps to one) prints a
// number that the conversion rejects as out of range.
//
// Campaign: -max_len=512

#include "FuzzSupport.h"

#include <veliface/settings/VelJobSettingsTag.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

std::shared_ptr<VelJobSettingsTag> parse(const std::string& text, bool& outOfRange) {
  outOfRange = false;
  const veliface::fuzz::AllocWatch watch;
  try {
    return VelJobSettingsTag::fromString(text);
  } catch (const std::invalid_argument&) {
  } catch (const std::out_of_range&) {
    outOfRange = true;
  }
  return nullptr;
}

// Whether `value` is a decimal number above INT_MAX that still fits 32 bits unsigned.
bool unsignedAboveIntMax(const std::string& value) {
  if (value.empty() || value.size() > 10 || value.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  const unsigned long long v = std::strtoull(value.c_str(), nullptr, 10);
  return v > 2147483647ull && v <= 4294967295ull;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  const std::string text(reinterpret_cast<const char*>(data), size);
  bool outOfRange = false;
  const auto tag = parse(text, outOfRange);
  if (!tag) return 0;

  const std::string printed = tag->toString();
  const std::string keyString = tag->keyString();
  FUZZ_CHECK(printed.rfind(keyString, 0) == 0);
  FUZZ_CHECK(keyString.size() > 2);  // "$" + a known name + "="
  FUZZ_CHECK(VelJobSettingsTag::keyName(tag->tagKey()) == keyString.substr(1, keyString.size() - 2));

  const auto again = parse(printed, outOfRange);
  if (!again) {
    FUZZ_CHECK(outOfRange && unsignedAboveIntMax(printed.substr(keyString.size())));
    return 0;
  }
  FUZZ_CHECK(again->tagKey() == tag->tagKey());
  FUZZ_CHECK(again->toString() == printed);
  return 0;
}
