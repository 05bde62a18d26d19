// setup-run: runs a setup script through the library on a simulated machine.
// See docs/setup-run.md.
#include "options.h"
#include "session.h"

int main(int argc, char** argv) {
  setuprun::Options options;
  const int parsed = setuprun::ParseOptions(argc, argv, &options);
  if (parsed >= 0) return parsed;
  if (!options.matrix.empty()) return setuprun::RunMatrix(options);
  return setuprun::RunSession(options);
}
