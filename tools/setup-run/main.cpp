// setup-run: runs a setup script through the library on a simulated machine.
// See docs/setup-run.md.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "base/global.h"
#include "options.h"
#include "session.h"
#include "watch.h"

namespace {

void Complain(const std::string& message) {
  std::fprintf(stderr, "setup-run: %s\n", message.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  using namespace setuprun;
  Options options;
  const int parsed = ParseOptions(argc, argv, &options);
  if (parsed >= 0) return parsed;

  // --coverage-append starts from the counts the file holds (none when it
  // does not exist yet).
  std::optional<Coverage> coverage;
  if (!options.coverageFile.empty()) {
    coverage.emplace();
    std::ifstream in(options.coverageFile, std::ios::binary);
    if (options.coverageAppend && in) {
      const std::string text((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
      std::string error;
      if (!coverage->Merge(text, &error)) {
        Complain("--coverage-append: " + options.coverageFile + " is not an lcov tracefile (" +
                 error + ")");
        return kExitUsage;
      }
    }
  }
  std::optional<Watcher> watcher;
  if (options.trace != Options::Trace::Off || coverage) {
    const Watcher::Trace trace = options.trace == Options::Trace::Statements
                                     ? Watcher::Trace::Statements
                                 : options.trace == Options::Trace::Calls ? Watcher::Trace::Calls
                                                                          : Watcher::Trace::Off;
    watcher.emplace(trace, coverage ? &*coverage : nullptr);
    options.watcher = &*watcher;
    setup::theGlobal.m_pObserver = &*watcher;
    setup::theGlobal.m_bWalkOnly = watcher->WantsWalk() ? 1 : 0;
  }

  int status = options.matrix.empty() ? RunSession(options) : RunMatrix(options);

  if (coverage) {
    std::ofstream out(options.coverageFile, std::ios::binary | std::ios::trunc);
    const std::string text = coverage->Write();
    if (!out.write(text.data(), static_cast<std::streamsize>(text.size())) || !out.flush()) {
      Complain("cannot write '" + options.coverageFile + "'");
      status = kExitUsage;
    }
  }
  setup::theGlobal.m_pObserver = nullptr;
  return status;
}
