#pragma once
// What an event header and the device object say about the device, turned into the metadata
// record of a WAV file and into the identity part of its sidecar.

#include <veliface/files/MavWavInfoData.h>
#include <veliface/record/WavSidecar.h>

#include <memory>
#include <string>

class MavDevice;
class VelStreamEventHeaderPayload;

namespace veliface::record {

// The metadata record of a file of `channels` channels: the one-sensor record for a single
// channel, else the array record with the hub (or the device) as entry 0 and one entry per
// channel. Time, sequence number and file name are left for the caller.
std::unique_ptr<MavWavInfoData> makeWavInfo(const VelStreamEventHeaderPayload& hdr,
                                            const std::shared_ptr<MavDevice>& device, unsigned channels,
                                            const std::string& creator);

// Fills the device, calibration and clock facts of a sidecar from the same sources.
void describeDevice(const VelStreamEventHeaderPayload& hdr, const std::shared_ptr<MavDevice>& device,
                    unsigned channels, WavFileFacts& facts);

}  // namespace veliface::record
