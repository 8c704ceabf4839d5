#include <veliface/host/SettingsCatalog.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <ctime>

namespace veliface::host {

namespace {

struct Row {
  uint16 key;
  SettingKind kind;
  const char* unit;
  const char* what;
};

// The names come from the library's tag table; this adds how each value reads.
const Row kRows[] = {
    {0, SettingKind::Unsigned, "", "function of the auxiliary pin (0 off, 1 trigger in, 2 trigger out, 3 sync in, 4 sync out, 5 serial)"},
    {1, SettingKind::Time, "s", "when logging starts"},
    {2, SettingKind::Unsigned, "Hz", "sample rate of the signal the spectra are taken from"},
    {3, SettingKind::Signed, "dB", "level that maps to spectrum level 0"},
    {4, SettingKind::Unsigned, "samples", "FFT length"},
    {5, SettingKind::Unsigned, "samples", "samples from the start of one FFT to the next"},
    {6, SettingKind::Unsigned, "", "how successive spectra combine (0 mean, 1 max, 2 min, 3 rms)"},
    {7, SettingKind::Unsigned, "spectra", "FFTs averaged per spectrum"},
    {8, SettingKind::Unsigned, "", "FFT window"},
    {9, SettingKind::Unsigned, "", "when spectra are logged (0 off, 1 continuous, 2 duty cycle, 3 triggered)"},
    {10, SettingKind::Unsigned, "s", "length of a spectrum log file"},
    {11, SettingKind::Unsigned, "s", "length of one duty cycle (0: no duty cycle)"},
    {12, SettingKind::Unsigned, "s", "seconds at the start of each duty cycle the device runs"},
    {13, SettingKind::Unsigned, "", "1: a change of the clock does not restart the duty cycle"},
    {14, SettingKind::Unsigned, "Hz", "waveform sample rate"},
    {15, SettingKind::Unsigned, "bits", "waveform bits per sample"},
    {16, SettingKind::Unsigned, "", "waveform gain step"},
    {17, SettingKind::Unsigned, "", "waveform byte order (1 little-endian, 0 big-endian)"},
    {18, SettingKind::Unsigned, "", "when the waveform is logged (0 off, 1 continuous, 2 duty cycle, 3 triggered)"},
    {19, SettingKind::Unsigned, "s", "length of a waveform log file"},
    {20, SettingKind::Unsigned, "", "kind of message on the auxiliary pin"},
    {0x4000, SettingKind::Signed, "", "device type of the array's members"},
    {0x4001, SettingKind::Unsigned, "", "how the hub runs its members (0 independent, 1 hub, 2 synchronous, 3 stream)"},
    {0x4002, SettingKind::Unsigned, "", "when the array logs its waveforms"},
    {0x4003, SettingKind::Unsigned, "", "when the array logs its spectra"},
    {0x4004, SettingKind::Unsigned, "", "when the array logs its epochs"},
    {0x4005, SettingKind::Unsigned, "s", "length of an array waveform log file"},
    {0x4006, SettingKind::Unsigned, "s", "length of an array spectrum log file"},
    {0x4007, SettingKind::Ipv4, "", "the array network's subnet mask"},
    {0x4008, SettingKind::Ipv4, "", "the array network's gateway"},
    {0x4009, SettingKind::Ipv4, "", "the array network's DNS server"},
    {0x400A, SettingKind::Unsigned, "", "battery conservation mode of the hub"},
    {0x400B, SettingKind::Time, "s", "when the array starts logging"},
    {0x400C, SettingKind::Unsigned, "s", "length of one array duty cycle"},
    {0x400D, SettingKind::Unsigned, "s", "seconds at the start of each array duty cycle the members run"},
    {0x400E, SettingKind::Unsigned, "", "what the array logs while its duty cycle runs"},
    {0x8000, SettingKind::SerialList, "", "serial numbers of the array's members"},
    {0x8002, SettingKind::AddressList, "", "the hub's address, then its members' addresses"},
};

bool allDigits(const std::string& s) {
  if (s.empty()) return false;
  for (const char c : s)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  return true;
}

// A whole number within what the tag parser takes (a C int), nothing else around it.
bool wholeNumber(const std::string& s, bool negativeAllowed, long long& out) {
  const bool negative = negativeAllowed && !s.empty() && s[0] == '-';
  const std::string digits = negative ? s.substr(1) : s;
  if (!allDigits(digits) || digits.size() > 10) return false;
  out = std::stoll(digits) * (negative ? -1 : 1);
  return out >= INT_MIN && out <= INT_MAX;
}

bool ipv4(const std::string& s) {
  unsigned a, b, c, d;
  char rest;
  if (std::sscanf(s.c_str(), "%3u.%3u.%3u.%3u%c", &a, &b, &c, &d, &rest) != 4) return false;
  if (a > 255 || b > 255 || c > 255 || d > 255) return false;
  // sscanf skips blanks and takes "+": the text must be exactly the digits and dots.
  for (const char ch : s)
    if (!std::isdigit(static_cast<unsigned char>(ch)) && ch != '.') return false;
  return true;
}

std::vector<std::string> pieces(const std::string& s) {
  std::vector<std::string> out;
  std::string::size_type from = 0;
  for (;;) {
    const auto comma = s.find(',', from);
    out.push_back(s.substr(from, comma - from));
    if (comma == std::string::npos) return out;
    from = comma + 1;
  }
}

// "2026-11-24T10:00:00Z", "2026-11-24T10:00:00+01:00", "2026-11-24T10:00:00.5-0230": seconds
// since 1970 (a fraction is dropped: the device keeps whole seconds).
bool isoTime(const std::string& s, long long& out) {
  int y, mo, d, h, mi, sec, n = 0;
  if (std::sscanf(s.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &y, &mo, &d, &h, &mi, &sec, &n) != 6 || n != 19) return false;
  for (int i : {0, 1, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, 17, 18})
    if (!std::isdigit(static_cast<unsigned char>(s[static_cast<std::size_t>(i)]))) return false;
  std::size_t at = 19;
  if (at < s.size() && s[at] == '.') {
    ++at;
    const std::size_t digits = at;
    while (at < s.size() && std::isdigit(static_cast<unsigned char>(s[at]))) ++at;
    if (at == digits) return false;
  }
  long long offset = 0;
  const std::string zone = s.substr(at);
  if (zone == "Z") {
    offset = 0;
  } else if (zone.size() == 6 && (zone[0] == '+' || zone[0] == '-') && zone[3] == ':' &&
             allDigits(zone.substr(1, 2)) && allDigits(zone.substr(4, 2))) {
    offset = (std::stoll(zone.substr(1, 2)) * 60 + std::stoll(zone.substr(4, 2))) * 60 * (zone[0] == '-' ? -1 : 1);
  } else if (zone.size() == 5 && (zone[0] == '+' || zone[0] == '-') && allDigits(zone.substr(1))) {
    offset = (std::stoll(zone.substr(1, 2)) * 60 + std::stoll(zone.substr(3, 2))) * 60 * (zone[0] == '-' ? -1 : 1);
  } else {
    return false;
  }
  if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || sec > 60) return false;
  std::tm tm{};
  tm.tm_year = y - 1900, tm.tm_mon = mo - 1, tm.tm_mday = d, tm.tm_hour = h, tm.tm_min = mi, tm.tm_sec = sec;
  out = static_cast<long long>(timegm(&tm)) - offset;
  return true;
}

}  // namespace

const std::vector<SettingInfo>& settingsCatalog() {
  static const std::vector<SettingInfo> catalog = [] {
    std::vector<SettingInfo> out;
    for (const Row& r : kRows) {
      const auto key = static_cast<JobTagKey>(r.key);
      out.push_back({key, VelJobSettingsTag::keyName(key), r.kind, r.unit, r.what});
    }
    return out;
  }();
  return catalog;
}

const SettingInfo* findSetting(const std::string& name) {
  for (const SettingInfo& s : settingsCatalog())
    if (s.name == name) return &s;
  return nullptr;
}

std::string settingKindText(SettingKind kind) {
  switch (kind) {
    case SettingKind::Unsigned: return "whole number >= 0";
    case SettingKind::Signed: return "whole number";
    case SettingKind::Time: return "time: ISO 8601 with zone (2026-11-24T10:00:00Z) or seconds since 1970";
    case SettingKind::Ipv4: return "IPv4 address (192.168.0.1)";
    case SettingKind::SerialList: return "serial numbers, comma-separated (1201,1202)";
    case SettingKind::AddressList: return "IPv4 addresses, comma-separated, the hub's first";
  }
  return "";
}

bool checkSetting(const std::string& text, std::string& canonical, std::string& error) {
  const auto eq = text.find('=');
  if (eq == std::string::npos || eq == 0) {
    error = "'" + text + "' is no setting: expected NAME=VALUE, e.g. WAVE_SAMPLE_RATE=96000";
    return false;
  }
  const std::string name = text.substr(0, eq), value = text.substr(eq + 1);
  const SettingInfo* info = findSetting(name);
  if (info == nullptr) {
    error = "unknown setting " + name;
    return false;
  }
  const auto wrong = [&] {
    error = "setting " + name + ": '" + value + "' is not a " + settingKindText(info->kind);
    return false;
  };
  long long number = 0;
  std::string out = value;
  switch (info->kind) {
    case SettingKind::Unsigned:
    case SettingKind::Signed:
      if (!wholeNumber(value, info->kind == SettingKind::Signed, number)) {
        const bool digits = allDigits(value[0] == '-' && info->kind == SettingKind::Signed ? value.substr(1) : value);
        if (!digits) return wrong();
        error = "setting " + name + ": " + value + " is out of range (" + std::to_string(INT_MIN) + " to " +
                std::to_string(INT_MAX) + ")";
        return false;
      }
      out = std::to_string(number);
      break;
    case SettingKind::Time:
      if (!wholeNumber(value, true, number) && !(isoTime(value, number) && number >= INT_MIN && number <= INT_MAX))
        return wrong();
      out = std::to_string(number);
      break;
    case SettingKind::Ipv4:
      if (!ipv4(value)) return wrong();
      break;
    case SettingKind::SerialList:
      for (const std::string& p : pieces(value))
        if (!wholeNumber(p, false, number) || number > 65535) return wrong();
      break;
    case SettingKind::AddressList:
      for (const std::string& p : pieces(value))
        if (!ipv4(p)) return wrong();
      break;
  }
  canonical = name + "=" + out;
  return true;
}

}  // namespace veliface::host
