// The simulated device's answer to enquire: its identity and the record of its type.

#include <sim/SimDevice.h>

#include <sim/PayloadWriter.h>

namespace velsim {

Bytes SimDevice::enquireResponse() const {
  Bytes p;
  PayloadWriter w{p};
  w.put(config_.serial).text(config_.firmware, 8).text(config_.buildDate, 18);
  w.put(static_cast<uint8>(config_.type)).put(config_.status).put<uint16>(0);
  switch (config_.type) {
    case 5:
    case 7:
    case 15: {
      // Newest hydrophone record, version 5: every group from version 1 up, then the model.
      w.put<uint8>(5).put(config_.sensitivity);
      w.put<uint16>(215).put<uint16>(312);  // 21.5 degrees, 31.2 percent, in tenths
      w.put<uint8>(0).put<uint8>(87).put<uint8>(3).put<uint8>(1);
      w.text(config_.firmwareRel, 8).put<uint8>(1).put<uint8>(1);
      w.bytes(reinterpret_cast<const uint8*>(config_.model.c_str()), config_.model.size() + 1);
      break;
    }
    case 8:
      w.put<uint8>(1).put<uint8>(2).put<uint8>(1).text(config_.firmwareRel, 8);
      break;
    case 13:
      w.put<uint8>(1).put<int64>(int64{512} * 1024 * 1024 * 1024).text(config_.model, 16);
      w.put<uint8>(2).put<uint8>(1).put<uint8>(1).put<uint8>(1).put<uint8>(0).put<uint8>(92);
      break;
    default:
      w.put<uint8>(0);  // the one byte a type without a record carries
      break;
  }
  return p;
}

}  // namespace velsim
