// setup-pack: builds, lists, unpacks and verifies the resource package of a
// module file. See docs/setup-pack.md.
//
//   setup-pack create OUT [--base MODULE] FILE...
//   setup-pack list MODULE
//   setup-pack extract MODULE NAME DEST
//   setup-pack verify MODULE [--command CMD]
//
// Exit status: 0 on success, 1 when a file or package is unusable, 2 for a
// usage error. Every message starts with "setup-pack:".
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "common/package_writer.h"
#include "verify.h"

namespace {

constexpr const char* kVersion = "1.0.1";

int Fail(const std::string& message) {
  std::fflush(stdout);
  std::fprintf(stderr, "setup-pack: %s\n", message.c_str());
  return 1;
}

int Create(const std::string& out, const std::string& base, const std::vector<std::string>& files) {
  std::string error;
  std::vector<std::string> notes;
  std::vector<std::string> warnings;
  if (!setup::pack::CreatePackageFile(out, base, files, &error, &notes, &warnings)) {
    return Fail(error);
  }
  for (const std::string& note : notes) std::printf("setup-pack: %s\n", note.c_str());
  std::printf("setup-pack: wrote %s (%zu entries)\n", out.c_str(), files.size());
  std::fflush(stdout);
  for (const std::string& warning : warnings) {
    std::fprintf(stderr, "setup-pack: warning: %s\n", warning.c_str());
  }
  return 0;
}

int List(const std::string& module) {
  std::vector<char> bytes;
  std::vector<setup::pack::EntryInfo> entries;
  std::string error;
  if (!setup::pack::ReadFileBytes(module, bytes, &error) ||
      !setup::pack::ReadPackageTable(bytes, entries, &error)) {
    return Fail(module + ": " + error);
  }
  for (const auto& entry : entries) {
    std::printf("%u %u %s\n", entry.index, entry.size, entry.name.c_str());
  }
  return 0;
}

int Extract(const std::string& module, const std::string& name, const std::string& dest) {
  std::vector<char> bytes;
  std::vector<char> data;
  std::string error;
  if (!setup::pack::ReadFileBytes(module, bytes, &error) ||
      !setup::pack::FindEntryData(bytes, name, data, &error)) {
    return Fail(module + ": " + error);
  }
  if (!setup::pack::WriteFileBytes(dest, data, &error)) return Fail(error);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Builds, lists, unpacks and verifies the resource package appended to a module file."};
  app.name("setup-pack");
  bool version = false;
  app.add_flag("--version", version, "Print the version and exit");

  std::string out;
  std::string base;
  std::vector<std::string> files;
  CLI::App* create = app.add_subcommand(
      "create",
      "Write OUT: MODULE (if given) and a package of FILEs, exactly one of them a script");
  create->add_option("OUT", out, "Module file to write")->required();
  create->add_option("--base", base,
                     "A PE DLL exporting Action whose bytes precede the package; a package it "
                     "already carries is replaced, a signature removed (sign OUT afterwards)");
  create->add_option("FILE", files, "Files to store, under their base names")->required();

  std::string module;
  CLI::App* list = app.add_subcommand("list", "One line per entry: index, size, name");
  list->add_option("MODULE", module, "Module file with a package")->required();

  std::string name;
  std::string dest;
  CLI::App* extract = app.add_subcommand("extract", "Write the entry NAME to DEST");
  extract->add_option("MODULE", module, "Module file with a package")->required();
  extract->add_option("NAME", name, "Entry name (exact)")->required();
  extract->add_option("DEST", dest, "Destination file")->required();

  std::string command = "/install";
  CLI::App* verify = app.add_subcommand(
      "verify",
      "Check a module: a PE DLL exporting Action, its signature, one well-formed package "
      "with one script, and the script compiles");
  verify->add_option("MODULE", module, "Module file to check")->required();
  verify
      ->add_option("--command", command,
                   "Command string whose parameters the script is compiled with")
      ->capture_default_str();

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::fprintf(stderr, "setup-pack: %s\nsetup-pack: run 'setup-pack --help' for the usage.\n",
                 e.what());
    return 2;
  }
  if (version) {
    std::printf("setup-pack %s\n", kVersion);
    return 0;
  }
  if (create->parsed()) return Create(out, base, files);
  if (list->parsed()) return List(module);
  if (extract->parsed()) return Extract(module, name, dest);
  if (verify->parsed()) return setuppack::Verify(module, command);
  std::fprintf(stderr,
               "setup-pack: a subcommand is required: create, list, extract or verify\n"
               "setup-pack: run 'setup-pack --help' for the usage.\n");
  return 2;
}
