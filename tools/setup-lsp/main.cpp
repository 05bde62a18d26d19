// setup-lsp: a language server for the setup script language over standard
// input and output.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "framing.h"
#include "server.h"

namespace {

volatile sig_atomic_t theStopSignal = 0;

// A termination signal interrupts the read and ends the loop, so that the
// simulated machine's scratch directory goes with the server.
void Stop(int signal) {
  theStopSignal = signal;
}

void CatchTermination() {
  struct sigaction action = {};
  action.sa_handler = Stop;
  sigemptyset(&action.sa_mask);
  for (int signal : {SIGTERM, SIGINT, SIGHUP}) sigaction(signal, &action, nullptr);
  // A client that went away shows as a failed write, not a signal.
  ::signal(SIGPIPE, SIG_IGN);
}

bool WriteAll(const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(STDOUT_FILENO, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--version") {
      std::puts("setup-lsp 1.0");
      return 0;
    }
    if (arg == "--help" || arg == "-h") {
      std::puts(
          "usage: setup-lsp [--stdio]\n"
          "A Language Server Protocol server for setup scripts on standard input and\n"
          "output; an editor starts it. See docs/setup-lsp.md.");
      return 0;
    }
    if (arg != "--stdio") {
      std::fprintf(stderr, "setup-lsp: unknown option '%s' (try --help)\n", arg.c_str());
      return 2;
    }
  }
  CatchTermination();
  bool broken = false;
  lsp::Server server([&broken](const std::string& body) {
    if (!broken && !WriteAll(lsp::Frame(body))) broken = true;
  });
  lsp::MessageReader reader;
  char block[65536];
  for (;;) {
    const ssize_t n = ::read(STDIN_FILENO, block, sizeof block);
    if (n < 0 && errno == EINTR && theStopSignal == 0) continue;
    if (n <= 0) break;
    reader.Feed(std::string_view(block, static_cast<std::size_t>(n)));
    while (std::optional<lsp::MessageReader::Item> item = reader.Next()) {
      if (item->ok) {
        server.HandleBody(item->body);
      } else {
        server.HandleBadHeader(item->problem);
      }
      if (server.Exited()) return server.ExitCode();
    }
    if (broken || theStopSignal != 0) break;
  }
  // The input ended without `exit`: the client went away.
  if (theStopSignal != 0) {
    std::fprintf(stderr, "setup-lsp: stopped by signal %d\n", static_cast<int>(theStopSignal));
  } else if (reader.Buffered() > 0) {
    std::fprintf(stderr, "setup-lsp: the input ended inside a message\n");
  }
  return 1;
}
