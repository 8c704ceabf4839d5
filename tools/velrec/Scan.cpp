#include "Scan.h"

#include <veliface/host/Discovery.h>
#include <veliface/vocabulary/DeviceText.h>
#include <veliface/vocabulary/VelDeviceType.h>

#include <asio.hpp>

#include <array>
#include <functional>
#include <ostream>
#include <sstream>

namespace velrec {

namespace {

using asio::ip::udp;

constexpr unsigned short kDiscoveryPort = 30303;

// Splits "ADDRESS[:PORT]"; false when the port is not a number from 1 to 65535.
bool splitTarget(const std::string& target, std::string& host, unsigned short& port) {
  host = target;
  port = kDiscoveryPort;
  const auto colon = target.rfind(':');
  if (colon == std::string::npos) return true;
  host = target.substr(0, colon);
  const std::string digits = target.substr(colon + 1);
  if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos) return false;
  const unsigned long p = std::stoul(digits);
  if (p == 0 || p > 65535) return false;
  port = static_cast<unsigned short>(p);
  return true;
}

std::string jsonOf(const veliface::host::FoundDevice& d) {
  // Everything but the type text is numbers and dotted addresses; the type text comes from
  // the library's table, and the address the answer came from from the socket.
  return "{\"type\":" + std::to_string(static_cast<int>(d.type)) + ",\"type_name\":\"" +
         VelUtil::deviceTypeStr(d.type) + "\",\"serial\":" + std::to_string(d.serial) + ",\"address\":\"" +
         d.net.ipAddr().toString() + "\",\"mac\":\"" + d.net.macAddr().toString() + "\",\"answered_from\":\"" +
         d.from + "\"}";
}

}  // namespace

int scanForDevices(const std::string& target, bool json, std::chrono::milliseconds wait, std::ostream& out,
                   std::ostream& err) {
  std::string host;
  unsigned short port = 0;
  if (!splitTarget(target, host, port)) {
    err << "velrec: error: --scan " << target << ": the port is not a number from 1 to 65535\n";
    return 2;
  }
  asio::io_context io;
  asio::error_code ec;
  udp::endpoint to;
  if (host.empty()) {
    to = udp::endpoint(asio::ip::address_v4::broadcast(), port);
  } else {
    const auto address = asio::ip::make_address_v4(host, ec);
    if (ec) {
      err << "velrec: error: --scan " << target << ": not an IPv4 address\n";
      return 2;
    }
    to = udp::endpoint(address, port);
  }
  udp::socket socket(io);
  socket.open(udp::v4(), ec);
  if (!ec) socket.set_option(asio::socket_base::broadcast(true), ec);
  if (!ec) socket.bind(udp::endpoint(udp::v4(), 0), ec);
  // The devices answer to the port named in the request: this socket's own.
  const auto request = veliface::host::Discovery::enquiry(ec ? 0 : socket.local_endpoint().port());
  if (!ec) socket.send_to(asio::buffer(request), to, 0, ec);
  if (ec) {
    err << "velrec: error: cannot send the discovery request to " << to << ": " << ec.message() << '\n';
    return 1;
  }

  veliface::host::Discovery discovery;
  std::array<uint8, 2048> buf{};
  udp::endpoint from;
  const auto deadline = std::chrono::steady_clock::now() + wait;
  std::function<void()> receive = [&] {
    socket.async_receive_from(asio::buffer(buf), from, [&](const asio::error_code& e, std::size_t n) {
      if (e) return;
      std::ostringstream sender;
      sender << from;
      discovery.receive(buf.data(), n, sender.str());
      receive();
    });
  };
  receive();
  io.run_until(deadline);

  for (const auto& d : discovery.devices()) out << (json ? jsonOf(d) : "device " + describe(d)) << '\n';
  if (discovery.devices().empty()) {
    err << "velrec: no device answered at " << to << " within " << wait.count() / 1000.0 << " s\n";
    return 1;
  }
  return 0;
}

}  // namespace velrec
