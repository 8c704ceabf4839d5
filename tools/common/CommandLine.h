#pragma once
/// \file The command-line contract the three tools share: every wrong option or value ends
/// the program with exit status 2 (CLI11's own codes differ by kind of error), --help with 0.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace tools {

/// Exit status of a usage error (a wrong option or value), the same in every tool.
constexpr int kUsageError = 2;

/// Accepts a whole number from `lo` to `hi` and nothing else (no sign, fraction or suffix),
/// saying so in plain words otherwise.
inline CLI::Validator wholeNumber(long long lo, long long hi) {
  return CLI::Validator(
      [lo, hi](std::string& v) -> std::string {
        const bool digits = !v.empty() && v.find_first_not_of("0123456789") == std::string::npos && v.size() < 19;
        if (!digits || std::stoll(v) < lo || std::stoll(v) > hi)
          return "'" + v + "' is not a whole number from " + std::to_string(lo) + " to " + std::to_string(hi);
        return {};
      },
      "INT in [" + std::to_string(lo) + " - " + std::to_string(hi) + "]");
}

/// Accepts a decimal number from `lo` to `hi` ("2.5", "10"), `what` it is (e.g. "a number of
/// seconds") named in plain words otherwise.
inline CLI::Validator decimalNumber(double lo, double hi, const std::string& what) {
  return CLI::Validator(
      [lo, hi, what](std::string& v) -> std::string {
        std::size_t used = 0;
        double d = 0;
        try {
          d = std::stod(v, &used);
        } catch (const std::exception&) {
          used = 0;
        }
        const bool plain = used == v.size() && !v.empty() && v.find_first_of("xXpPnNiI") == std::string::npos;
        if (!plain || d < lo || d > hi) {
          char range[96];
          std::snprintf(range, sizeof range, "%g to %g", lo, hi);
          return "'" + v + "' is not " + what + " from " + range;
        }
        return {};
      },
      "NUMBER");
}

/// Parses the command line into `app`. Returns -1 when the program is to go on, else the
/// status to exit with: 0 after --help (printed), `kUsageError` after a usage error (the
/// reason printed on standard error).
inline int parseCommandLine(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
    return -1;
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    // One line, the program's name first, as every other message of the tools.
    std::string name = argc > 0 ? argv[0] : app.get_name();
    name = name.substr(name.find_last_of('/') + 1);
    std::cerr << name << ": " << e.what() << " (--help lists every option)" << std::endl;
    return kUsageError;
  }
}

}  // namespace tools
