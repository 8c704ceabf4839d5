#include <veliface/common/VelCommandCode.h>

#include <map>

namespace {

// Built once at load; read-only afterwards, so look-ups are safe from any thread.
const std::map<uint8, std::string>& cmdCodeTexts() {
  static const std::map<uint8, std::string> table = {
      {0x41, "SetTime"},      {0x42, "SetBaud"},         {0x43, "CollectData"},
      {0x44, "JobSetup"},     {0x45, "Enquire"},         {0x46, "EnquireSetup"},
      {0x48, "ReadFile"},     {0x49, "WriteFile"},       {0x4A, "DeleteFile"},
      {0x4B, "DirListing"},   {0x4C, "FileSize"},        {0x4D, "RenameFile"},
      {0x4E, "CopyFile"},     {0x4F, "DeleteFolder"},    {0x51, "StopStreams"},
      {0x52, "EnquireTriggers"}, {0x53, "SetupTrigger"}, {0x54, "RemoveTrigger"},
      {0x55, "ClearTriggers"},   {0x56, "ResetPasswd"},  {0x59, "ResetDevice"},
      {0x5A, "EnqireBatt"},   {0x5B, "EnquireSync"}};
  return table;
}

// Force the table into existence at load time, as the devices' hosts expect.
const bool tableBuilt = !cmdCodeTexts().empty();

}  // namespace

std::string VelUtil::cmdCodeStr(VelCommandCode code) {
  (void)tableBuilt;
  const auto& t = cmdCodeTexts();
  const auto it = t.find(code);
  return it == t.end() ? std::string("Unrecognized Command") : it->second;
}
