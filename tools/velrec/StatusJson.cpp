#include "StatusJson.h"

#include "RunLog.h"

#include <cerrno>
#include <cstring>

namespace velrec {

StatusJson::StatusJson(const std::string& target, std::string& error) {
  if (target == "-") {
    file_ = stdout;
    return;
  }
  file_ = std::fopen(target.c_str(), "a");
  own_ = file_ != nullptr;
  if (!file_) error = target + ": " + std::strerror(errno);
}

StatusJson::~StatusJson() {
  if (own_) std::fclose(file_);
}

void StatusJson::event(const std::string& name, nlohmann::ordered_json fields) {
  if (!file_) return;
  nlohmann::ordered_json line = {{"time", utcNow()}, {"event", name}};
  line.update(fields);
  // Texts from a device may hold anything: never let one stop the status.
  const std::string text = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::fprintf(file_, "%s\n", text.c_str());
  std::fflush(file_);
}

}  // namespace velrec
