#include "Console.h"

#include <iostream>

namespace velrec {

void Console::clearStatus() {
  if (statusShown_) std::cerr << "\r\033[K";
}

namespace {

constexpr int kShownInARow = 3;
constexpr std::chrono::seconds kSumEvery(10);

// The line with each run of digits as one '#': lines that differ only in their figures.
std::string shapeOf(const std::string& text) {
  std::string shape;
  for (const char c : text) {
    const bool digit = c >= '0' && c <= '9';
    if (!digit) shape += c;
    else if (shape.empty() || shape.back() != '#') shape += '#';
  }
  return shape;
}

// 12345 as "12,345".
std::string grouped(std::uint64_t n) {
  std::string digits = std::to_string(n), out;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return out;
}

}  // namespace

Console::~Console() { sumUp(std::chrono::steady_clock::now()); }

void Console::write(const std::string& text, bool toTerminal) {
  if (copy_) copy_(text);
  if (!toTerminal) return;
  clearStatus();
  std::cerr << "velrec: " << text << '\n';
  if (statusShown_) std::cerr << lastStatus_;
  std::cerr.flush();
}

void Console::sumUp(std::chrono::steady_clock::time_point now) {
  if (suppressed_ > 0) {
    write("... repeated " + grouped(suppressed_) + " times (the last: " + lastSuppressed_ + ")");
  }
  suppressed_ = 0;
  lastSum_ = now;
}

void Console::log(const std::string& text) { filtered(text, true); }

void Console::diagnostic(const std::string& text, bool show) { filtered(text, show); }

void Console::filtered(const std::string& text, bool toTerminal) {
  const auto now = std::chrono::steady_clock::now();
  std::string shape = shapeOf(text);
  // A flood is the same shape again within a second; a line that recurs at its own pace
  // (a file closed every minute) is always shown.
  const bool flooding = shape == lastShape_ && now - lastTime_ < std::chrono::seconds(1);
  lastTime_ = now;
  if (flooding && ++inARow_ > kShownInARow) {
    ++suppressed_;
    lastSuppressed_ = text;
    if (now - lastSum_ >= kSumEvery) sumUp(now);
    return;
  }
  if (!flooding) {
    sumUp(now);
    lastShape_ = std::move(shape);
    inARow_ = 1;
  }
  write(text, toTerminal);
}

void Console::status(const std::string& text) {
  if (!tty_) {
    write(text);
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
  if (copy_) copy_(text);
  clearStatus();
  std::cout << "velrec: " << text << std::endl;
  if (statusShown_) std::cerr << lastStatus_ << std::flush;
}

}  // namespace velrec
