#include "Sidecar.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>

namespace veldump {

std::uint64_t Sidecar::gapFrames() const {
  std::uint64_t n = 0;
  for (const auto& g : gaps) n += g.second;
  return n;
}

std::string sidecarPathOf(const std::string& wavPath) {
  return std::filesystem::path(wavPath).replace_extension(".json").string();
}

Sidecar readSidecar(const std::string& wavPath) {
  Sidecar s;
  const std::string path = sidecarPathOf(wavPath);
  std::error_code ec;
  if (!std::filesystem::exists(path, ec)) return s;
  s.present = true;
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    s.error = path + ": " + std::strerror(errno);
    return s;
  }
  s.data = nlohmann::json::parse(in, nullptr, false);
  if (s.data.is_discarded() || !s.data.is_object()) {
    s.error = path + ": not a JSON object";
    s.data = nlohmann::json();
    return s;
  }
  const auto text = [&](const char* key) {
    const auto it = s.data.find(key);
    return it != s.data.end() && it->is_string() ? it->get<std::string>() : std::string();
  };
  s.startTime = text("start_time");
  s.startSource = text("start_time_source");
  if (const auto it = s.data.find("frames"); it != s.data.end() && it->is_number_unsigned()) s.frames = it->get<std::int64_t>();
  if (const auto it = s.data.find("gaps"); it != s.data.end() && it->is_array()) {
    for (const auto& g : *it) {
      if (!g.is_object() || !g.contains("start_frame") || !g.contains("frames")) continue;
      if (!g["start_frame"].is_number_unsigned() || !g["frames"].is_number_unsigned()) continue;
      s.gaps.emplace_back(g["start_frame"].get<std::uint64_t>(), g["frames"].get<std::uint64_t>());
    }
  }
  return s;
}

void printSidecar(const Sidecar& s, std::uint64_t wavFrames, std::ostream& out, std::vector<std::string>& problems,
                  std::size_t maxGaps) {
  if (!s.present) return;
  if (!s.error.empty()) {
    problems.push_back("sidecar unreadable: " + s.error);
    return;
  }
  if (!s.startTime.empty())
    out << "first sample: " << s.startTime << (s.startSource.empty() ? "" : " (" + s.startSource + ")") << '\n';
  out << "gaps: " << s.gaps.size() << " (" << s.gapFrames() << " frames of zeros)\n";
  for (std::size_t i = 0; i < s.gaps.size() && i < maxGaps; ++i)
    out << "  gap at frame " << s.gaps[i].first << ": " << s.gaps[i].second << " frames\n";
  if (s.gaps.size() > maxGaps) out << "  ... " << s.gaps.size() - maxGaps << " more\n";
  if (s.frames >= 0 && static_cast<std::uint64_t>(s.frames) != wavFrames) {
    problems.push_back("the sidecar counts " + std::to_string(s.frames) + " frames, the file holds " +
                       std::to_string(wavFrames) + " (cut, or still being written)");
  }
}

}  // namespace veldump
