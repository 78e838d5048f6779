// `qorsc`: dispatches to the subcommands and turns failures into messages and exit
// statuses (2 for bad arguments, 1 for everything else, 130 when interrupted).
//
// SIGINT and SIGTERM only set a flag the render polls, so the render unwinds
// normally and removes its temporary files.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "render_job.h"

namespace {

std::atomic<bool> interrupted{false};

extern "C" void OnSignal(int) {
  interrupted.store(true);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace QorScTool;
  std::vector<std::string_view> args(argv + 1, argv + argc);
  Arguments arguments;
  try {
    arguments = ParseArguments(args);
  } catch (const UsageError& e) {
    std::fprintf(stderr, "qorsc: %s\nTry 'qorsc --help'.\n", e.what());
    return 2;
  }

  std::signal(SIGINT, OnSignal);
  std::signal(SIGTERM, OnSignal);
  try {
    switch (arguments.command) {
      case Arguments::kHelp:
        std::fputs(arguments.help_text.c_str(), stdout);
        return 0;
      case Arguments::kVersion:
        std::printf("qorsc %s\n", QORSC_VERSION);
        return 0;
      case Arguments::kRender:
        return RunRender(arguments.render, &interrupted);
      case Arguments::kInfo:
        return RunInfo(arguments.info);
      case Arguments::kHits:
        return RunHits(arguments.hits);
    }
  } catch (const UsageError& e) {
    std::fprintf(stderr, "qorsc: %s\nTry 'qorsc --help'.\n", e.what());
    return 2;
  } catch (const Interrupted&) {
    std::fprintf(stderr, "\nqorsc: interrupted; no output file was left incomplete\n");
    return 130;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qorsc: error: %s\n", e.what());
    return 1;
  }
  return 1;
}
