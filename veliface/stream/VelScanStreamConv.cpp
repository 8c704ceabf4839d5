#include <veliface/stream/VelScanStreamConv.h>

#include <veliface/common/VelLog.h>

#include <sstream>

bool VelScanStreamConv::checkSequence(uint16 seqNum) {
  const uint64 cur = seqNum & 0xFFFFu;
  if (cur == next_) {
    next_ = cur + 1;  // not wrapped: after 0xFFFF we expect 0x10000
    return false;
  }
  // Deliberate asymmetry: only 16 bits arrive while next_ counts on past 0xFFFF; this is
  // where the two meet again, so block 0 right after 0xFFFF is a rollover, not a loss.
  if (cur == 0 && next_ == 0x10000) {
    ++rollovers_;
    std::ostringstream os;
    os << "single step rollover: total: " << rollovers_ << " (cur: 0, next: " << next_ << ")";
    VelLog::write(os.str());
    next_ = 1;
    return false;
  }
  rollovers_ = 0;
  std::ostringstream os;
  if (cur <= next_) {
    // next_ never exceeds 0x10000, so the sum stays non-negative.
    os << "ordinary data loss (rolled): lost: " << (cur + 0x10000 - next_);
  } else {
    os << "ordinary data loss (no roll): lost: " << (cur - next_);
  }
  os << " (cur: " << cur << ", next: " << next_ << ")";
  VelLog::write(os.str());
  next_ = cur + 1;
  return true;
}
