// setup-pack verify: structure, entries, and a compilation of the script on a
// simulated machine, the way the library compiles it for a command.
#include "verify.h"

#include <cctype>
#include <cstdio>
#include <optional>
#include <set>
#include <vector>

#include "common/module_signature.h"
#include "common/package_writer.h"
#include "common/pe_image.h"
#include "common/script_check.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"

namespace setuppack {

namespace {

namespace pack = setup::pack;

// Any non-null value serves: the machine answers the module path for it.
plat::HMODULE const kModuleHandle = reinterpret_cast<plat::HMODULE>(0x10000000);
constexpr const char* kModulePath = "C:\\Program Files\\Setup\\Setup.dll";

void Found(const std::string& path, const std::string& text) {
  std::printf("setup-pack: %s: %s\n", path.c_str(), text.c_str());
}

void Problem(const std::string& path, const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "setup-pack: %s: %s\n", path.c_str(), text.c_str());
}

// Loads the module on a fresh simulated machine and compiles its script with
// the prelude of `command`. `output` receives what the library printed.
bool CompileOnMachine(const std::vector<char>& module, const std::string& command,
                      std::string* output, std::string* problem) {
  std::string error;
  if (!sim::Boot("", &error)) {
    *problem = "cannot start the simulated machine: " + error;
    return false;
  }
  sim::SetStdoutSink(
      [output](const char* text, std::size_t length) { output->append(text, length); });
  sim::SetEventSink([](const std::string&) {});
  bool compiled = false;
  if (!sim::SetModule(kModuleHandle, kModulePath, module)) {
    *problem = "cannot put the module on the simulated machine";
  } else if (!setup::DllMain(kModuleHandle, setup::kDllProcessAttach, nullptr)) {
    *problem = "the library refuses to load this module";
  } else {
    switch (scriptcheck::CompileForCommand(command, problem)) {
      case scriptcheck::Outcome::Compiled:
        compiled = true;
        break;
      case scriptcheck::Outcome::NotCompiled:
        *problem = "the script does not compile";
        break;
      case scriptcheck::Outcome::CommandRefused:
        *problem = "the library refuses the command";
        break;
      case scriptcheck::Outcome::NotPrepared:
        break;
    }
    setup::DllMain(kModuleHandle, setup::kDllProcessDetach, nullptr);
  }
  sim::Shutdown();
  return compiled;
}

void Warning(const std::string& path, const std::string& text) {
  Problem(path, "warning: " + text);
}

// Says whether the module is signed and whether the signature covers the
// package (when there is one, from `start` to `end`). Answers the number of
// problems found.
int ReportSignature(const std::string& path, const pack::SignatureFacts& facts,
                    std::optional<std::size_t> start, std::uint64_t end) {
  using State = pack::SignatureFacts::State;
  switch (facts.state) {
    case State::NotPe:
      return 0;
    case State::Unsigned:
      Found(path, "not signed");
      return 0;
    case State::Damaged:
      Problem(path, facts.problem);
      return 1;
    case State::Signed:
      break;
  }
  char offset[32];
  std::snprintf(offset, sizeof offset, "0x%X", facts.tableOffset);
  Found(path, "signed: a certificate table of " + std::to_string(facts.tableSize) + " bytes at " +
                  offset + " (" + std::to_string(facts.certificates) +
                  (facts.certificates == 1 ? " certificate)" : " certificates)"));
  if (facts.bytesAfter > 0) {
    Warning(path, std::to_string(facts.bytesAfter) +
                      " bytes follow the certificate table; the signature does not cover them");
  }
  if (!start) return 0;
  const std::uint64_t tableEnd = static_cast<std::uint64_t>(facts.tableOffset) + facts.tableSize;
  if (facts.tableOffset < end && tableEnd > *start) {
    Problem(path, "the certificate table overlaps the package");
    return 1;
  }
  if (end <= facts.tableOffset) {
    Found(path, "the package lies inside the signed range");
    return 0;
  }
  Problem(path,
          "the package lies outside the signed range: the signature does not cover it "
          "(pack first, then sign)");
  return 1;
}

}  // namespace

int Verify(const std::string& path, const std::string& command) {
  std::vector<char> bytes;
  std::string error;
  if (!pack::ReadFileBytes(path, bytes, &error)) {
    Problem(path, error);
    return 1;
  }
  const pack::SignatureFacts signature = pack::InspectSignature(bytes);
  std::optional<std::size_t> start = pack::PackageStart(bytes);
  std::vector<pack::EntryInfo> entries;
  if (!start || !pack::ReadPackageTable(bytes, entries, &error)) {
    ReportSignature(path, signature, std::nullopt, 0);
    Problem(path, "carries no package" + (error.empty() ? std::string() : " (" + error + ")"));
    return 1;
  }
  int problems = 0;
  if (*start == 0) {
    Problem(path, "holds a package but no module before it");
    ++problems;
  } else {
    std::string summary;
    const std::vector<char> image(bytes.begin(),
                                  bytes.begin() + static_cast<std::ptrdiff_t>(*start));
    if (pack::CheckSetupBase(image, &summary, &error)) {
      Found(path, summary);
    } else {
      Problem(path, "the module is " + error);
      ++problems;
    }
  }
  problems += ReportSignature(path, signature, start, pack::PackageEndOf(bytes));

  std::vector<std::string> names;
  std::set<std::string> seen;
  std::string script;
  for (const pack::EntryInfo& entry : entries) {
    if (!pack::IsValidEntryName(entry.name, &error)) {
      Problem(path, error);
      ++problems;
    }
    std::string folded = entry.name;
    for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!seen.insert(folded).second) {
      Problem(path, "two entries are named '" + entry.name + "'");
      ++problems;
    }
    if (pack::IsScriptName(entry.name)) script = entry.name;
    names.push_back(entry.name);
  }
  if (!pack::CheckScriptCount(names, &error)) {
    Problem(path, error);
    return 1;
  }
  Found(path, "package of " + std::to_string(entries.size()) + " entries, script '" + script + "'");

  std::string output;
  std::string problem;
  if (CompileOnMachine(bytes, command, &output, &problem)) {
    Found(path, "the script compiles for the command \"" + command + "\"");
  } else {
    Problem(path, problem + " (command \"" + command + "\"); the library printed:" + output);
    ++problems;
  }
  return problems == 0 ? 0 : 1;
}

}  // namespace setuppack
