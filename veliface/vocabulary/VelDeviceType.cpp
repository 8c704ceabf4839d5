#include <veliface/vocabulary/VelDeviceType.h>

#include <veliface/vocabulary/internal/EnumText.h>

namespace {

// Keys are the signed enumeration, so the map orders 0xFF (-1) before 0 like the identity
// ordering does. Built once at load, read-only afterwards.
const veliface::device::EnumTextTable<VelDeviceType>& deviceTypeTexts() {
  static const veliface::device::EnumTextTable<VelDeviceType> table = {
      {DEV_UNSUPPORTED, "Unsupported device"}, {DEV_NONE, "No device"},
      {DEV_VOCAN_LF, "Vocan LF"},     {DEV_AUREL_LF, "Aurel LF"},     {DEV_QBIF, "QBIF"},
      {DEV_VOCAN, "Vocan"},           {DEV_AUREL_HF, "Aurel HF"},     {DEV_VOCAN_HF, "Vocan HF"},
      {DEV_AUREL_AF, "Aurel AF"},     {DEV_ARRAY_HUB, "Array Hub"},   {DEV_HUB_UPLINK, "Hub Uplink"},
      {DEV_TETHRA, "Tethra"},         {DEV_RELAY_HUB, "Relay Hub"},   {DEV_UPLINK_CARD, "Uplink Card"},
      {DEV_POWER_MODULE, "Power Module"}, {DEV_RELAY_NODE, "Relay Node"}, {DEV_ROWAN, "Rowan"},
      {DEV_FCR, "FCR"},               {DEV_AUREL_MF, "Aurel MF"},     {DEV_BB, "BB"},
      {DEV_FFT_TXT_FILE, "FFT Txt File, "}, {DEV_WAV_BIN_FILE, "WAV Bin File, "}};
  return table;
}

const bool tableBuilt = !deviceTypeTexts().empty();

}  // namespace

std::string VelUtil::deviceTypeStr(VelDeviceType type) {
  (void)tableBuilt;
  return veliface::device::enumText(deviceTypeTexts(), type, "Unrecognized Device");
}

VelDeviceType VelUtil::deviceType(const std::string& text) {
  for (const auto& entry : deviceTypeTexts()) {
    if (entry.second == text) return entry.first;
  }
  return DEV_UNSUPPORTED;
}
