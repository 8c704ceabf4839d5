#include <veliface/stream/VelDataCollectCmd.h>

#include <veliface/common/VelLog.h>

#include <string>

void VelDataCollectCmd::serialize(uint64* len, uint8* buf) const {
  buf[0] = mask_;
  *len += 1;
  if (mask_ & 0x08) {
    // The second byte names the one extended kind wanted: spectrum before waveform.
    buf[1] = (mask_ & 0x10) ? uint8{0x10} : static_cast<uint8>(mask_ & 0x20);
    *len += 1;
  }
}

template <typename T>
void VelDataCollectCmd::readChunk(ByteStream* s) {
  // A repeated key replaces the earlier chunk. A chunk cut short is still kept, with
  // the fields that did not arrive at their defaults.
  chunks_[T::kKey] = std::shared_ptr<DataCollChunk>(T::deserialize(s));
}

VelDataCollectCmd* VelDataCollectCmd::deserialize(ByteStream* s) {
  auto* cmd = new VelDataCollectCmd();
  s->readLE(cmd->mask_);
  for (unsigned bit = 0x01; bit <= 0x80; bit <<= 1) {
    if (!(cmd->mask_ & bit)) continue;
    if (bit == 0x80) break;  // nothing is defined beyond it
    switch (bit) {
      case 0x01:
        s->ignore(2);  // two bytes with no chunk of their own
        break;
      case 0x02:
        cmd->readChunk<DataCollHumidityChunk>(s);
        break;
      case 0x04:
        cmd->readChunk<DataCollTemperatureChunk>(s);
        break;
      case 0x10:
        cmd->readChunk<DataCollSpecChunk>(s);
        break;
      case 0x20:
        cmd->readChunk<DataCollWavChunk>(s);
        break;
      case 0x40:
        // Nothing after unknown data can be located: drop the rest, including any
        // extended chunks.
        VelLog::write("Got Unexpected Data in VelDataCollectCmd message. Skipping message.");
        s->ignore(s->bytesAvailable());
        break;
      default:  // 0x08: extended chunks follow the walk
        break;
    }
  }
  if (cmd->mask_ & 0x08) cmd->readExtended(s);
  return cmd;
}

void VelDataCollectCmd::readExtended(ByteStream* s) {
  while (s->good() && s->bytesAvailable() > 0) {
    uint16 type = 0;
    uint16 length = 0;
    if (!s->readLE(type) || !s->readLE(length)) return;  // a torn header ends the list
    // The type sits in the key's high byte; bits shifted out of 16 are lost.
    const auto key = static_cast<DataCollMask>(static_cast<uint16>(type << 8));
    // The known kinds have fixed sizes; their length field is not consulted.
    switch (key) {
      case DC_HEADING:
        readChunk<DataCollHeadingChunk>(s);
        break;
      case DC_SPEC_TIME:
        readChunk<DataCollSpecTimeChunk>(s);
        break;
      case DC_WAV_TIME:
        readChunk<DataCollWavTimeChunk>(s);
        break;
      default:
        s->ignore(length);
        VelLog::write("Got Unexpected Extended Data, Unexpected Mask: " + std::to_string(type));
        break;
    }
  }
}

std::shared_ptr<const DataCollChunk> VelDataCollectCmd::getChunk(DataCollMask key) const {
  const auto it = chunks_.find(key);
  if (it == chunks_.end()) return nullptr;
  return it->second;
}

std::vector<DataCollMask> VelDataCollectCmd::chunkKeys() const {
  std::vector<DataCollMask> keys;
  keys.reserve(chunks_.size());
  for (const auto& entry : chunks_) keys.push_back(entry.first);
  return keys;
}

std::vector<uint8> VelDataCollectCmd::takeWavData() {
  const auto it = chunks_.find(DC_WAV);
  if (it == chunks_.end()) return {};
  return static_cast<DataCollWavChunk&>(*it->second).takeWavData();
}

std::vector<uint8> VelDataCollectCmd::takeSpecData() {
  const auto it = chunks_.find(DC_SPEC);
  if (it == chunks_.end()) return {};
  return static_cast<DataCollSpecChunk&>(*it->second).takeSpecData();
}
