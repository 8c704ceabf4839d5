#include "Describe.h"

#include <ctime>
#include <sstream>

namespace veldump {

std::string utcText(long long seconds) {
  std::time_t t = static_cast<std::time_t>(seconds);
  std::tm tm{};
  if (gmtime_r(&t, &tm) == nullptr) return "invalid";
  char buf[40];
  if (std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm) == 0) return "invalid";
  return buf;
}

namespace {

Record head(std::uint64_t code, std::string name, std::string cls) {
  Record r;
  r.add("code", hex(code)).add("name", std::move(name)).add("class", std::move(cls));
  return r;
}

std::vector<std::string> tagTexts(const JobTagMap& tags) {
  std::vector<std::string> out;
  for (const auto& kv : tags) out.push_back(kv.second ? kv.second->toString() : "(empty)");
  return out;
}

// Job setup and its enquiry answer alike: the applied tags, or the device's error text.
template <class Setup>
void addSetup(Record& r, const Setup& s) {
  r.add("setupType", unsigned{s.setupType()});
  if (s.isError()) {
    r.add("error", s.error() ? s.error()->toString() : std::string("(no error record)"));
  } else {
    r.add("tags", tagTexts(s.jobSetup()));
  }
}

void addEnquire(Record& r, const VelEnquireCmd& e) {
  r.add("serial", unsigned{e.serial()})
      .add("type", VelUtil::deviceTypeStr(static_cast<VelDeviceType>(e.devType())))
      .add("typeCode", unsigned{e.devType()})
      .add("firmware", e.firmwareVer())
      .add("buildDate", e.buildDate())
      .add("status", VelUtil::deviceStatusStr(static_cast<VelDeviceStatus>(e.status())));
  const auto& data = e.deviceData();
  if (!data) return;
  r.add("recordVersion", unsigned{data->enqVersion()});
  if (const auto* hf = dynamic_cast<const VelEnqHFData*>(data.get())) {
    r.add("model", hf->modelString()).add("firmwareRel", hf->firmwareRel());
    r.add("battery", unsigned{hf->battPercent()});
  } else if (const auto* rec = dynamic_cast<const VelEnqSmRecData*>(data.get())) {
    r.add("model", rec->modelString()).add("battery", unsigned{rec->battPercent()});
  } else if (const auto* hci = dynamic_cast<const VelEnqHCIData*>(data.get())) {
    r.add("firmwareRel", hci->firmwareRel());
  }
}

void addTriggerFields(Record& r, const VelTrigger& t) {
  r.add("testType", unsigned{t.testType()}).add("errorCode", unsigned{t.errorCode()});
  const std::string err = t.errorMes(true);
  if (!err.empty()) r.add("error", err);
  r.add("trigger", triggerSummary(t));
}

const char* dataCollName(DataCollMask key) {
  switch (key) {
    case DC_HUMIDITY: return "humidity";
    case DC_TEMPERATURE: return "temperature";
    case DC_SPEC: return "spectrum";
    case DC_WAV: return "waveform";
    case DC_HEADING: return "heading";
    case DC_SPEC_TIME: return "spectrumTime";
    case DC_WAV_TIME: return "waveformTime";
  }
  return "unknown";
}

void addDataCollect(Record& r, const VelDataCollectCmd& d) {
  r.add("mask", hex(d.mask()));
  std::vector<std::string> keys;
  for (DataCollMask k : d.chunkKeys()) keys.push_back(std::string(dataCollName(k)) + "(" + hex(k, 4) + ")");
  r.add("chunks", keys);
  if (auto h = d.chunk<DataCollHumidityChunk>()) r.add("humidity", double{h->humidity()});
  if (auto t = d.chunk<DataCollTemperatureChunk>()) r.add("temperature", double{t->temperature()});
  if (auto w = d.chunk<DataCollWavChunk>())
    r.add("wavSeq", unsigned{w->seqNum()}).add("wavBytes", unsigned{w->numBytes()});
  if (auto s = d.chunk<DataCollSpecChunk>())
    r.add("specSeq", unsigned{s->seqNum()}).add("specBytes", unsigned{s->numBytes()});
}

void addEventKey(Record& r, const VelEventKeyChunk* key) {
  if (!key) {
    r.add("eventKey", "missing");
    return;
  }
  r.add("time", std::int64_t{key->timeStamp()})
      .add("utc", utcText(key->timeStamp()))
      .add("seq", std::uint64_t{key->seqNum()});
}

std::string setupText(const VelStreamSetupContainer& setup) {
  std::ostringstream os;
  if (auto w = setup.wavSetup()) {
    os << "wav rate=" << w->sampleRate() << " bytesPerSample=" << unsigned{w->bytesPerSamp()}
       << " gain=" << w->gain() << (w->isBigEndian() ? " big-endian" : " little-endian");
  } else if (auto f = setup.fftSetup()) {
    os << "fft rate=" << f->sampleRate() << " points=" << f->numPoints()
       << " refLevel=" << f->refLevel() << " proc=" << f->procType()
       << " between=" << f->samplesBtwFfts() << " accum=" << f->accumCount();
  } else {
    os << "none";
  }
  return os.str();
}

}  // namespace

std::string triggerSummary(const VelTrigger& trigger) {
  std::ostringstream os;
  os << "type=" << trigger.testType();
  if (const auto* b = dynamic_cast<const VelTrigger_5_6*>(&trigger)) {
    os << " num=" << unsigned{b->trigNum()} << " enabled=" << unsigned{b->enabled()}
       << " band=" << b->minFreq() << "-" << b->maxFreq() << "Hz"
       << " threshType=" << b->threshType() << " threshold=" << b->threshold()
       << " duration=" << b->duration() << " hold=" << b->eventHold()
       << " effect=" << b->effect() << " preTrigger=" << b->preTrigger();
  } else if (const auto* p = dynamic_cast<const VelTrigger_0_1*>(&trigger)) {
    os << " params=" << p->param0() << "," << p->param1() << "," << p->param2() << ","
       << p->param3() << "," << p->param4() << "," << p->param5();
  } else if (const auto* q = dynamic_cast<const VelTrigger_4*>(&trigger)) {
    os << " params=" << unsigned{q->param0()} << "," << unsigned{q->param1()};
  }
  return os.str();
}

Record describeControl(const VelControlMsgPayload& payload) {
  const uint8 code = payload.commandCode();
  const std::string name = VelUtil::cmdCodeStr(static_cast<VelCommandCode>(code));
  if (const auto* p = dynamic_cast<const VelSetTimeCmd*>(&payload)) {
    Record r = head(code, name, "VelSetTimeCmd");
    return r.add("time", std::int64_t{p->time()}).add("utc", utcText(p->time()));
  }
  if (const auto* p = dynamic_cast<const VelDataCollectCmd*>(&payload)) {
    Record r = head(code, name, "VelDataCollectCmd");
    addDataCollect(r, *p);
    return r;
  }
  if (const auto* p = dynamic_cast<const VelJobSetupCmd*>(&payload)) {
    Record r = head(code, name, "VelJobSetupCmd");
    addSetup(r, *p);
    return r;
  }
  if (const auto* p = dynamic_cast<const VelJobSetupEnq*>(&payload)) {
    Record r = head(code, name, "VelJobSetupEnq");
    r.add("status", unsigned{p->status()});
    addSetup(r, *p);
    return r;
  }
  if (const auto* p = dynamic_cast<const VelEnquireCmd*>(&payload)) {
    Record r = head(code, name, "VelEnquireCmd");
    addEnquire(r, *p);
    return r;
  }
  if (const auto* p = dynamic_cast<const VelEnquireTrigger*>(&payload)) {
    Record r = head(code, name, "VelEnquireTrigger");
    std::vector<std::string> list;
    for (const auto& t : p->triggers()) list.push_back(t ? triggerSummary(*t) : "(undecodable)");
    return r.add("count", unsigned{p->count()}).add("triggers", list);
  }
  if (const auto* p = dynamic_cast<const VelTrigger*>(&payload)) {
    Record r = head(code, name, "VelTrigger");
    addTriggerFields(r, *p);
    return r;
  }
  if (dynamic_cast<const VelResetCmd*>(&payload)) return head(code, name, "VelResetCmd");
  return head(code, name, "VelControlMsgPayload");
}

Record describeStream(const VelStreamMessagePayload& payload) {
  if (const auto* p = dynamic_cast<const VelStreamNotifyPayload*>(&payload)) {
    Record r = head(0x30, "notify", "VelStreamNotifyPayload");
    return r.add("errorCode", std::uint64_t{p->errorCode()}).add("errorStr", p->errorStr());
  }
  if (const auto* p = dynamic_cast<const VelStreamDataPayload*>(&payload)) {
    Record r = head(0x31, "data", "VelStreamDataPayload");
    addEventKey(r, p->eventKey().get());
    if (auto d = p->data()) {
      r.add("sampleNum", std::uint64_t{d->sampleNum()})
          .add("numSamples", unsigned{d->numSamples()})
          .add("channels", unsigned{d->numChannels()})
          .add("bytesPerSample", unsigned{d->bytesPerSamp()})
          .add("bytes", std::uint64_t{d->dataSize()});
    } else {
      r.add("data", "missing");
    }
    return r;
  }
  if (const auto* p = dynamic_cast<const VelStreamEventHeaderPayload*>(&payload)) {
    Record r = head(0x32, "event header", "VelStreamEventHeaderPayload");
    addEventKey(r, p->eventKey().get());
    r.add("channels", unsigned{p->numChannels()}).add("setup", setupText(p->streamSetupChunk()));
    std::vector<std::string> devices;
    for (const auto& d : p->deviceInfoChunks())
      devices.push_back("sn" + std::to_string(d->serialNo()) + "/model" +
                        std::to_string(d->model()) + "/ch" + std::to_string(d->channel()));
    r.add("devices", devices).add("array", p->isArray());
    return r;
  }
  if (const auto* p = dynamic_cast<const VelStatusDataPayload*>(&payload)) {
    Record r = head(0x35, "status", "VelStatusDataPayload");
    if (auto t = p->trigChunk()) {
      std::vector<std::string> states;
      const unsigned n = t->numTrigs() < 5 ? t->numTrigs() : 5;  // the chunk holds five
      for (unsigned i = 0; i < n; ++i) states.push_back(std::to_string(t->state()[i]));
      r.add("numTrigs", unsigned{t->numTrigs()}).add("states", states);
    }
    return r;
  }
  return head(0, "unknown", "VelStreamMessagePayload");
}

Record describeDiscovery(const VelMarcoCommandPayload& payload) {
  const uint8 code = payload.commandCode();
  if (const auto* p = dynamic_cast<const VelMarcoDevicePayload*>(&payload)) {
    const bool change = dynamic_cast<const VelChangeNetworkCmd*>(&payload) != nullptr;
    Record r = head(code, change ? "ChangeNetwork" : "NetworkEnquire",
                    change ? "VelChangeNetworkCmd" : "VelNetworkEnqireCmd");
    const MavNetHostInfo& net = p->netInfo();
    r.add("type", VelUtil::deviceTypeStr(p->deviceType()))
        .add("typeCode", int{p->deviceType()})
        .add("serial", unsigned{p->serialNo()})
        .add("mac", net.macAddr().toString())
        .add("ip", net.ipAddr().toString())
        .add("mask", net.subnetMask().toString())
        .add("gateway", net.gateway().toString())
        .add("dns", net.dns().toString())
        .add("addrMode", unsigned{net.addrMode()});
    if (change) r.add("error", int{static_cast<const VelChangeNetworkCmd&>(payload).error()});
    return r;
  }
  if (const auto* p = dynamic_cast<const VelResetDeviceCmd*>(&payload)) {
    Record r = head(code, "ResetDevice", "VelResetDeviceCmd");
    return r.add("mac", p->macAddress().toString());
  }
  return head(code, "unknown", "VelMarcoCommandPayload");
}

}  // namespace veldump
