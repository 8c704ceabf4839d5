#pragma once
/// \file What the inspector prints of each decoded message: one record per message with its
/// code, its name, its class and the fields a user looks for.
#include "Record.h"

#include <veliface/veliface.h>

#include <string>

namespace veldump {

/// A control-channel response (set time, data collect, job setup and its enquiry, enquire,
/// triggers, reset).
Record describeControl(const VelControlMsgPayload& payload);
/// A stream message payload (notification, data, event header, status).
Record describeStream(const VelStreamMessagePayload& payload);
/// A discovery response (network enquiry, change network, reset device).
Record describeDiscovery(const VelMarcoCommandPayload& payload);
/// One trigger record on one line: test type, and the band, threshold and timing of a band
/// trigger or the raw parameters of the other kinds.
std::string triggerSummary(const VelTrigger& trigger);
/// Seconds since 1970 as "YYYY-MM-DDTHH:MM:SSZ" (UTC); "invalid" when it cannot be shown.
std::string utcText(long long seconds);

}  // namespace veldump
