#include "Options.h"

#include <iostream>

namespace velsim::net {

void say(const std::string& line) { std::cout << "velsim: " << line << std::endl; }

FaultConfig faultsOf(const Options& o, uint64 salt) {
  FaultConfig f;
  f.seed = o.seed * 1000003 + salt;
  f.garbageRate = o.garbage;
  f.maxPieces = o.splitWrites ? 8 : 1;
  return f;
}

}  // namespace velsim::net
