#include <veliface/record/internal/FileNames.h>

#include <veliface/files/VelDateStamp.h>

namespace veliface::record {

std::string freshName(const std::filesystem::path& dir, const char* ext, const std::string& prefix, long long t,
                      const std::string& lastBase, int count) {
  const std::string base = VelUtil::dateTimeFname(prefix, t);
  std::string name = base == lastBase ? base + "_" + std::to_string(count) : base;
  std::error_code ec;
  for (int n = base == lastBase ? count + 1 : 1; std::filesystem::exists(dir / (name + ext), ec); ++n) {
    name = base + "_" + std::to_string(n);
  }
  return name;
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
