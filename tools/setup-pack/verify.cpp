// setup-pack verify: structure, entries, and a compilation of the script on a
// simulated machine, the way the library compiles it for a command.
#include "verify.h"

#include <cctype>
#include <cstdio>
#include <optional>
#include <set>
#include <vector>

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
bool CompileOnMachine(const pack::FileSource& module, const std::string& command,
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
  // The module is copied onto the machine in pieces.
  if (!sim::SetModuleFile(kModuleHandle, kModulePath, module.Descriptor())) {
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

}  // namespace

int Verify(const std::string& path, const std::string& command) {
  // The module is read in pieces: the table, the image in front of the
  // package, and the copy onto the machine.
  pack::FileSource bytes;
  std::string error;
  if (!bytes.Open(path, &error)) {
    Problem(path, error);
    return 1;
  }
  std::optional<std::uint64_t> start = pack::PackageStart(bytes);
  std::vector<pack::EntryInfo> entries;
  if (!start || !pack::ReadPackageTable(bytes, entries, &error)) {
    Problem(path, "carries no package" + (error.empty() ? std::string() : " (" + error + ")"));
    return 1;
  }
  int problems = 0;
  if (*start == 0) {
    Problem(path, "holds a package but no module before it");
    ++problems;
  } else {
    std::string summary;
    std::vector<char> image(static_cast<std::size_t>(*start));
    if (!bytes.Read(0, image.data(), image.size())) {
      Problem(path, "cannot read the module");
      return 1;
    }
    if (pack::CheckSetupBase(image, &summary, &error)) {
      Found(path, summary);
    } else {
      Problem(path, "the module is " + error);
      ++problems;
    }
  }

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
