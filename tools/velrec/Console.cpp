#include "Console.h"

#include <iostream>

namespace velrec {

void Console::clearStatus() {
  if (statusShown_) std::cerr << "\r\033[K";
}

void Console::log(const std::string& text) {
  clearStatus();
  std::cerr << "velrec: " << text << '\n';
  if (statusShown_) std::cerr << lastStatus_;
  std::cerr.flush();
}

void Console::status(const std::string& text) {
  if (!tty_) {
    log(text);
    return;
  }
  lastStatus_ = text;
  std::cerr << "\r" << text << "\033[K" << std::flush;
  statusShown_ = true;
}

void Console::endStatus() {
  if (statusShown_) std::cerr << '\n' << std::flush;
  statusShown_ = false;
}

void Console::out(const std::string& text) {
  clearStatus();
  std::cout << "velrec: " << text << std::endl;
  if (statusShown_) std::cerr << lastStatus_ << std::flush;
}

}  // namespace velrec
