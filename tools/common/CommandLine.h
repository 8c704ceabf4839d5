#pragma once
/// \file The command-line contract the three tools share: every wrong option or value ends
/// the program with exit status 2 (CLI11's own codes differ by kind of error), --help with 0.

#include <CLI/CLI.hpp>

namespace tools {

/// Exit status of a usage error (a wrong option or value), the same in every tool.
constexpr int kUsageError = 2;

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
    app.exit(e);
    return kUsageError;
  }
}

}  // namespace tools
