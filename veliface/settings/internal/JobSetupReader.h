#pragma once
// The body shared by the job-setup and job-setup-enquiry responses: setup type, then a
// counted tag list, an error record or nothing. One routine reads it for both classes.

#include <mavcommon/ByteStream.h>
#include <veliface/settings/VelJobSetup.h>

#include <memory>
#include <type_traits>

namespace veliface::settings {

/// Reads a little-endian enumeration value at the width of its underlying type; on failure
/// `e` keeps its value.
template <class E>
bool readEnumLE(ByteStream* s, E& e) {
  std::underlying_type_t<E> raw{};
  if (!s->readLE(raw)) return false;
  e = static_cast<E>(raw);
  return true;
}

/// How the two responses differ.
struct JobSetupReadStyle {
  const char* logPrefix;   ///< "<Class>::deserialize: ", the start of every log line
  bool skipEmptyEntries;   ///< pass over entries of length 0 without reading a value
};

/// Reads the setup type and what follows it into the three fields. Stops at the first entry
/// whose key, length or value cannot be read in full; what was read before stays.
void readJobSetupBody(ByteStream* s, const JobSetupReadStyle& style, JobSetupType& type,
                      JobTagMap& tags, std::shared_ptr<VelJobSetupErr>& error);

}  // namespace veliface::settings
