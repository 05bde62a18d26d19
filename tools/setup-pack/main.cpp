// setup-pack: builds, lists and unpacks the resource package of a module file.
//
//   setup-pack create OUT [--base MODULE] FILE...
//   setup-pack list MODULE
//   setup-pack extract MODULE NAME DEST
//
// Exit status: 0 on success, 1 when a file or package is unusable, 2 for a
// usage error.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "common/package_writer.h"

namespace {

int Fail(const std::string& message) {
  std::fprintf(stderr, "setup-pack: %s\n", message.c_str());
  return 1;
}

int Create(const std::string& out, const std::string& base, const std::vector<std::string>& files) {
  std::string error;
  if (!setup::pack::CreatePackageFile(out, base, files, &error)) return Fail(error);
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
  CLI::App app{"Builds, lists and unpacks the resource package appended to a module file."};
  app.require_subcommand(1);

  std::string out;
  std::string base;
  std::vector<std::string> files;
  CLI::App* create =
      app.add_subcommand("create", "Write OUT: MODULE (if given) and a package of FILEs");
  create->add_option("OUT", out, "Module file to write")->required();
  create->add_option("--base", base, "Module whose bytes precede the package");
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

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return 2;
  }

  if (create->parsed()) return Create(out, base, files);
  if (list->parsed()) return List(module);
  return Extract(module, name, dest);
}
