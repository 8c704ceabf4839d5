#pragma once
/// \file Umbrella header: everything a host needs. Link `veliface::veliface`.

// Platform layer
#include <mavcommon/BufferEvent.h>
#include <mavcommon/ByteStream.h>
#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/Crc16.h>
#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/MavIpAddr.h>
#include <mavcommon/MavMacAddr.h>
#include <mavcommon/MavNetHostInfo.h>
#include <mavcommon/MavTypes.h>

// common: wire contract, control frame, command codes, logging
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/ISerializable.h>
#include <veliface/common/VelCommand.h>
#include <veliface/common/VelCommandCode.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/common/VelLog.h>
#include <veliface/common/VelMessage.h>
#include <veliface/common/VelMsgPayload.h>

// control: control processor and the small commands
#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>

// device: identity, enumerations, device classes
#include <veliface/device/FcrDevice.h>
#include <veliface/device/MavDevice.h>
#include <veliface/device/RowanDevice.h>
#include <veliface/device/VelDevice.h>
#include <veliface/vocabulary/DeviceText.h>
#include <veliface/vocabulary/VelDeviceEnums.h>
#include <veliface/device/VelDeviceId.h>
#include <veliface/vocabulary/VelDeviceType.h>

// settings: tags, job settings, job setup, array job settings
#include <veliface/settings/ArrayJobSettings.h>
#include <veliface/settings/VelJobSettings.h>
#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/settings/VelSettingsTypes.h>

// trigger: trigger records, enquiry, event detection
#include <veliface/trigger/VelEnquireTrigger.h>
#include <veliface/trigger/VelTrigger.h>

// stream: chunks, payloads, stream processor, data collect
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamMessage.h>
#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/VelStreamProcessor.h>
#include <veliface/stream/VelStreamType.h>

// stream: data collect
#include <veliface/stream/DataCollChunk.h>
#include <veliface/stream/VelDataCollectCmd.h>

// files: WAV and spectrum formats and writers, date stamps, UTF-8 and wide texts
#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavHeader.h>
#include <veliface/files/MavWavInfoData.h>
#include <veliface/files/MavWavOutFile.h>
#include <veliface/files/MavWavWriter.h>
#include <veliface/files/MavSpecWriter.h>
#include <veliface/files/MavSpectrumFile.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/VelWideText.h>

// discovery: network discovery and configuration
#include <veliface/discovery/VelMarcoCommand.h>
#include <veliface/discovery/VelMarcoProcessor.h>

// record: stream-to-writer glue
#include <veliface/record/RecordListener.h>
#include <veliface/record/SpectrumRecorder.h>
#include <veliface/record/VelScanStreamConv.h>
#include <veliface/record/WavRecorder.h>

// host: the sans-I/O host layer (sessions, a device's recording, discovery)
#include <veliface/host/Commands.h>
#include <veliface/host/ControlSession.h>
#include <veliface/host/DeviceRecording.h>
#include <veliface/host/Discovery.h>
#include <veliface/host/HostTime.h>
#include <veliface/host/JobSettings.h>
#include <veliface/host/ResponseFramer.h>
#include <veliface/host/SampleChecksum.h>
#include <veliface/host/StreamSession.h>
