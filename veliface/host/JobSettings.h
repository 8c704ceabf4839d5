#pragma once
/// \file A job setup from the host's side: settings typed as text, and what the device's
/// answer says about each of them.

#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/settings/VelJobSetup.h>

#include <string>
#include <vector>

namespace veliface::host {

/// Parses settings of the form "NAME=VALUE" (e.g. "WAVE_SAMPLE_RATE=96000") into `tags`.
/// False, with `error` naming the setting and the reason, for an unknown name or a value
/// that is not a number; `tags` is then left as far as it got.
bool parseJobSettings(const std::vector<std::string>& settings, JobTagMap& tags, std::string& error);

/// The device's verdict on one setting the host sent.
struct SettingVerdict {
  JobTagKey key{};       ///< the setting
  std::string sent;      ///< its text form as sent ("$NAME=VALUE")
  std::string answered;  ///< its text form as the device echoed it, or "" when not echoed
  bool accepted = false; ///< echoed with the value sent
  std::string reason;    ///< when not accepted: why, in a few words
};

/// What a job setup came to.
struct JobSetupOutcome {
  bool rejected = false;                ///< the device answered with an error record
  bool confirmed = false;               ///< every setting was echoed with the value sent
  std::string error;                    ///< when not confirmed: one line saying why
  std::vector<SettingVerdict> settings; ///< one per setting sent, in key order
};

/// Judges `answer`, the device's response to a job setup of `sent`. A rejection lists the
/// device's verdict per setting on one line (the error record's own text runs the verdicts
/// together after a line break); an answer that is not tag-based confirms nothing.
JobSetupOutcome judgeJobSetup(const JobTagMap& sent, const VelJobSetupCmd& answer);

}  // namespace veliface::host
