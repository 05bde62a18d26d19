// The state of a simulated machine that a reviewer cares about (registry,
// files and directories, services) and the changes between two such states,
// as text in a stable order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/machine.h"
#include "regfile.h"

namespace snapshot {

struct FileEntry {
  std::string path;                // "C:\Dir\name"; directories end with '\'
  std::vector<std::string> order;  // lower-case components, for ordering
  bool directory = false;
  std::uint64_t size = 0;
  std::uint64_t hash = 0;      // of the content (FNV-1a)
  plat::DWORD attributes = 0;  // as GetFileAttributesA answers
};

struct Snapshot {
  regfile::File registry;              // every key, depth first, by name
  std::vector<FileEntry> files;        // depth first, by name
  std::vector<sim::Service> services;  // by name
};

// Reads the running machine's state.
Snapshot Take();

// The whole state:
//   Registry:            every key in .reg notation (UTF-8), an empty line after each
//   Files:               one line per directory ("C:\WINDOWS\") and file ("... N bytes")
//   Services:            one line per service: name, state, configuration
std::string Show(const Snapshot& state);

// What changed from `before` to `after`, in the same notation; empty when
// nothing changed. The registry part is a .reg change set (new and changed
// values, "name"=- and [-KEY] for removals) whose "; was: " comment lines
// give the previous contents; file and service lines start with what
// happened: added, changed, removed (files, services), started, stopped.
// `changes`, when given, receives the number of changes the text lists: one
// per registry key added or removed, per value added, changed or removed
// (also with its key), and per file and service line.
std::string Diff(const Snapshot& before, const Snapshot& after, int* changes = nullptr);

}  // namespace snapshot
