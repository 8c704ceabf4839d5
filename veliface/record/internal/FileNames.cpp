#include <veliface/record/internal/FileNames.h>

#include <veliface/files/VelDateStamp.h>

namespace veliface::record {

std::string freshName(const std::string& prefix, long long t, const std::string& lastBase, int count) {
  const std::string base = VelUtil::dateTimeFname(prefix, t);
  return base == lastBase ? base + "_" + std::to_string(count) : base;
}

void noteOpened(const std::string& name, std::string& lastBase, int& count) {
  // A suffixed name ("..._221320_1") counts against its base.
  const bool suffixed = !lastBase.empty() && name.size() > lastBase.size() + 1 &&
                        name.compare(0, lastBase.size(), lastBase) == 0 && name[lastBase.size()] == '_';
  if (suffixed) {
    ++count;
  } else {
    lastBase = name;
    count = 1;
  }
}

}  // namespace veliface::record
