#pragma once
/// \file Every job setting a host can send, with its type, unit and meaning, and a strict
/// check of the text a person types for one, so that a wrong setting is found before any
/// device is touched.

#include <veliface/settings/VelJobSettingsTag.h>

#include <string>
#include <vector>

namespace veliface::host {

/// How a setting's value is written.
enum class SettingKind {
  Unsigned,     ///< whole number from 0
  Signed,       ///< whole number, may be negative
  Time,         ///< a moment: ISO 8601 with a zone ("2026-11-24T10:00:00Z") or seconds since 1970
  Ipv4,         ///< dotted IPv4 address
  SerialList,   ///< serial numbers separated by ","
  AddressList,  ///< the hub's IPv4 address, then its members', separated by ","
};

/// One setting of the library's tag table.
struct SettingInfo {
  JobTagKey key{};   ///< its key
  std::string name;  ///< its name in the tag table, as typed ("WAVE_SAMPLE_RATE")
  SettingKind kind = SettingKind::Unsigned;  ///< how its value is written
  const char* unit = "";  ///< the unit of its value, "" when it has none
  const char* what = "";  ///< what it does, in a few words
};

/// Every setting, in key order.
const std::vector<SettingInfo>& settingsCatalog();

/// The setting called `name` (exact, case-sensitive), or null.
const SettingInfo* findSetting(const std::string& name);

/// How a value of `kind` is written, for a person ("whole number >= 0", ...).
std::string settingKindText(SettingKind kind);

/// Checks one "NAME=VALUE" strictly: a known name, and a value of its kind with nothing else
/// (no unit suffix, no fraction, no trailing text; a time with its zone). `canonical` gets the
/// text the tag parser takes ("NAME=VALUE", a time as seconds since 1970); false with `error`
/// saying what is wrong and what would be right.
bool checkSetting(const std::string& text, std::string& canonical, std::string& error);

}  // namespace veliface::host
