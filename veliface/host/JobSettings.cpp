#include <veliface/host/JobSettings.h>

#include <veliface/host/SettingsCatalog.h>

#include <stdexcept>

namespace veliface::host {

namespace {

// The verdict texts end in a separator ("; ") meant for running them together; a list of
// our own reads better without it.
std::string verdictText(TagErrCode code) {
  std::string t = VelUtil::tagErrStr(code);
  while (!t.empty() && (t.back() == ' ' || t.back() == ';')) t.pop_back();
  return t.empty() ? "rejected (code " + std::to_string(code) + ")" : t;
}

std::string joined(const std::vector<std::string>& parts) {
  std::string out;
  for (const auto& p : parts) out += (out.empty() ? "" : "; ") + p;
  return out;
}

// Fills the verdicts of a rejected setup and returns the one-line reason.
std::string rejection(const VelJobSetupErr& err, std::vector<SettingVerdict>& settings) {
  const auto verdicts = err.tagErrors();
  const bool perTag = err.errorCode() == JOB_ERR_TAG_VALUE;
  std::vector<std::string> named;
  for (SettingVerdict& v : settings) {
    if (perTag) {
      const auto it = verdicts.find(v.key);
      v.reason = it == verdicts.end() ? "not checked by the device"
                 : it->second == TAG_OK ? "accepted, but the setup as a whole was rejected"
                                        : verdictText(it->second);
      if (it != verdicts.end() && it->second != TAG_OK)
        named.push_back(VelJobSettingsTag::keyName(v.key) + ": " + v.reason);
    } else {
      v.reason = v.key == err.badTagKey() &&
                         (err.errorCode() == JOB_ERR_UNRECOGNIZED_TAG || err.errorCode() == JOB_ERR_TAG_LENGTH)
                     ? "named by the device as the cause"
                     : "the setup was rejected";
    }
  }
  if (!perTag) return err.toString();
  // Verdicts for keys the host did not send still say something about the setup.
  for (const auto& [key, code] : verdicts) {
    bool sentKey = false;
    for (const SettingVerdict& v : settings) sentKey = sentKey || v.key == key;
    if (!sentKey && code != TAG_OK) named.push_back(VelJobSettingsTag::keyName(key) + ": " + verdictText(code));
  }
  return "Job Setup Error: Invalid or conflicting value: " + (named.empty() ? std::string("no setting named") : joined(named));
}

}  // namespace

bool parseJobSettings(const std::vector<std::string>& settings, JobTagMap& tags, std::string& error) {
  for (const std::string& typed : settings) {
    // The tag parser takes "96k" as 96 and "2026-11-24" as 2026: each text is checked whole
    // against its setting's kind first.
    std::string s;
    if (!checkSetting(typed, s, error)) return false;
    std::shared_ptr<VelJobSettingsTag> tag;
    try {
      tag = VelJobSettingsTag::fromString("$" + s);
    } catch (const std::out_of_range&) {
      error = "the value of setting " + s + " is out of range";
      return false;
    } catch (const std::exception&) {
      error = "the value of setting " + s + " is not a number";
      return false;
    }
    if (!tag) {
      error = "unknown setting " + s + " (expected NAME=VALUE, e.g. WAVE_SAMPLE_RATE=96000)";
      return false;
    }
    tags[tag->tagKey()] = tag;
  }
  return true;
}

JobSetupOutcome judgeJobSetup(const JobTagMap& sent, const VelJobSetupCmd& answer) {
  JobSetupOutcome out;
  for (const auto& [key, tag] : sent) {
    SettingVerdict v;
    v.key = key;
    v.sent = tag->toString();
    out.settings.push_back(v);
  }
  if (answer.isError()) {
    out.rejected = true;
    out.error = answer.error() ? rejection(*answer.error(), out.settings) : "Job Setup Error";
    return out;
  }
  if (answer.setupType() != JOB_SETUP_TAG_BASED) {
    for (SettingVerdict& v : out.settings) v.reason = "not confirmed";
    out.error = "the device did not confirm the settings (its answer is not tag-based, type " +
                std::to_string(answer.setupType()) + ")";
    return out;
  }
  const JobTagMap& echoed = answer.jobSetup();
  std::vector<std::string> problems;
  for (SettingVerdict& v : out.settings) {
    const auto it = echoed.find(v.key);
    if (it == echoed.end() || !it->second) {
      v.reason = "not echoed by the device";
    } else {
      v.answered = it->second->toString();
      v.accepted = v.answered == v.sent;
      if (!v.accepted) v.reason = "the device applied " + v.answered;
    }
    if (!v.accepted) problems.push_back(v.sent + " " + v.reason);
  }
  out.confirmed = problems.empty();
  if (!out.confirmed) out.error = "the device did not confirm every setting: " + joined(problems);
  return out;
}

}  // namespace veliface::host
