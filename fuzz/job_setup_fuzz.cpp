// Fuzz target: the job-setup response and the job-setup enquiry response (which is the
// same body behind a status byte), with the tags and the error record they carry.
//
// Besides running both readers, it checks that the tags of a tag-based response survive
// being written and read again unchanged. That holds unless a device list of odd length
// is followed by another tag: the reader deliberately leaves the list's padding word
// unread, so the tag after it is misread, as it would be from a device.
//
// Campaign: -max_len=2048

#include "FuzzSupport.h"

#include <veliface/settings/VelJobSetup.h>

#include <memory>
#include <string>

namespace {

using veliface::fuzz::Bytes;

// Every tag's text form, in key order, with the key each tag is stored under.
std::string describeTags(const JobTagMap& tags) {
  std::string out;
  for (const auto& [key, tag] : tags) {
    FUZZ_CHECK(tag && tag->tagKey() == key);
    out += std::to_string(key) + tag->toString() + "\n";
  }
  return out;
}

template <class Response>
void describeError(const Response& r) {
  FUZZ_CHECK(r.isError() == static_cast<bool>(r.error()));
  if (r.isError()) {
    FUZZ_CHECK(r.jobSetup().empty());
    veliface::fuzz::keep(r.error()->toString().size());
  }
}

// Whether writing `tags` and reading them back must give them again.
bool roundTrips(const JobTagMap& tags) {
  const auto list = tags.find(ARRAY_SERIALS);
  if (list == tags.end() || std::next(list) == tags.end()) return true;
  const auto* serials = dynamic_cast<const HciDeviceListTag*>(list->second.get());
  return serials && serials->deviceList().size() % 2 == 0;
}

// Room for the payload of `tags`: type, count, and per tag its key, length and value.
std::size_t payloadBound(const JobTagMap& tags) {
  std::size_t n = 4;
  for (const auto& entry : tags) {
    const VelJobSettingsTag* t = entry.second.get();
    n += 12;
    if (const auto* s = dynamic_cast<const HciDeviceListTag*>(t)) n += 2 * s->deviceList().size();
    if (const auto* a = dynamic_cast<const HciDeviceIpListTag*>(t)) n += 4 * a->addrList().size();
  }
  return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();

  std::unique_ptr<VelJobSetupCmd> cmd;
  std::unique_ptr<VelJobSetupEnq> enq;
  {
    const veliface::fuzz::AllocWatch watch;
    cmd.reset(VelJobSetupCmd::create(data, size));
    enq.reset(VelJobSetupEnq::create(data, size));
  }
  FUZZ_CHECK(cmd != nullptr);
  describeError(*cmd);
  const std::string tags = describeTags(cmd->jobSetup());

  FUZZ_CHECK(enq != nullptr);
  describeError(*enq);
  veliface::fuzz::keep(describeTags(enq->jobSetup()).size() + enq->status());

  if (cmd->setupType() == JOB_SETUP_TAG_BASED && roundTrips(cmd->jobSetup())) {
    Bytes buf(payloadBound(cmd->jobSetup()));
    uint64 len = 0;
    VelJobSetupCmd(cmd->jobSetup(), JOB_SETUP_TAG_BASED).serialize(&len, buf.data());
    FUZZ_CHECK(len <= buf.size());
    const std::unique_ptr<VelJobSetupCmd> again(VelJobSetupCmd::create(buf.data(), len));
    FUZZ_CHECK(again->setupType() == JOB_SETUP_TAG_BASED);
    FUZZ_CHECK(describeTags(again->jobSetup()) == tags);
  }
  return 0;
}
