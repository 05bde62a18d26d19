// Runs generated scripts both ways, in-process through the library: with the
// fast paths (no step budget) and on the tree walk only (a step budget too
// large to reach), each on a fresh simulated machine under the same pass
// budget, and fails when the standard output (with the machine's events) or
// Action's result differ.
//
//   equivalence [--seed N] [--count N] [--pass-limit N] [--show N]
//   equivalence --print SEED        the script of one seed
//   equivalence --script FILE       one script file both ways, both outputs
//   equivalence --minimize SEED     the script of SEED cut down to the lines
//                                   that keep a difference (or --script FILE
//                                   --minimize)
//
// Script i of a run is generated from seed N + i, so a reported seed replays
// with `--seed S --count 1`. SETUP_EQUIV_SEED and SETUP_EQUIV_COUNT set the
// defaults (1 and 3000); the arguments win. Exit status: 0 all agree, 1 a
// difference (the first --show of them printed in full, default 3), 2 bad
// arguments, 3 the scripts lost their power (too few compile, run to the
// end or fail while running).
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "common/package_writer.h"
#include "script_gen.h"
#include "two_ways.h"

namespace {

constexpr std::uint32_t kDefaultPassLimit = 2000;
const std::vector<std::string> kCommands = {"/install"};

struct Settings {
  std::uint64_t seed = 1;
  std::uint64_t count = 3000;
  std::uint32_t passLimit = kDefaultPassLimit;
  std::uint64_t show = 3;
  bool print = false;
  bool minimize = false;
  std::string scriptFile;
};

struct Tally {
  std::uint64_t scripts = 0, compiled = 0, finished = 0, failed = 0, passLimit = 0;
  std::uint64_t notCompared = 0, differences = 0;
};

bool ParseNumber(const char* text, std::uint64_t* value) {
  if (text == nullptr || *text == '\0') return false;
  char* end = nullptr;
  *value = std::strtoull(text, &end, 0);
  return *end == '\0';
}

bool Parse(int argc, char** argv, Settings* settings) {
  std::uint64_t value = 0;
  if (const char* env = std::getenv("SETUP_EQUIV_SEED"); env != nullptr && *env != '\0') {
    if (!ParseNumber(env, &settings->seed)) return false;
  }
  if (const char* env = std::getenv("SETUP_EQUIV_COUNT"); env != nullptr && *env != '\0') {
    if (!ParseNumber(env, &settings->count)) return false;
  }
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const char* next = i + 1 < argc ? argv[i + 1] : nullptr;
    if (arg == "--seed" && ParseNumber(next, &settings->seed)) {
      ++i;
    } else if (arg == "--count" && ParseNumber(next, &settings->count)) {
      ++i;
    } else if (arg == "--pass-limit" && ParseNumber(next, &value) && value > 0 &&
               value <= 0xFFFFFFFFu) {
      settings->passLimit = static_cast<std::uint32_t>(value);
      ++i;
    } else if (arg == "--show" && ParseNumber(next, &settings->show)) {
      ++i;
    } else if (arg == "--print" && ParseNumber(next, &settings->seed)) {
      settings->print = true;
      ++i;
    } else if (arg == "--minimize" && next != nullptr && ParseNumber(next, &settings->seed)) {
      settings->minimize = true;
      ++i;
    } else if (arg == "--minimize" && !settings->scriptFile.empty()) {
      settings->minimize = true;
    } else if (arg == "--script" && next != nullptr) {
      settings->scriptFile = next;
      ++i;
    } else {
      return false;
    }
  }
  return true;
}

std::string Results(const twoways::RunTrace& trace) {
  std::string text;
  for (int result : trace.results) text += (text.empty() ? "" : " ") + std::to_string(result);
  return text;
}

void PrintRun(const char* way, const twoways::RunTrace& trace) {
  std::printf("---- %s: Action returned %s\n%s", way, Results(trace).c_str(), trace.out.c_str());
  if (!trace.out.empty() && trace.out.back() != '\n') std::printf("\n");
}

// The first line where the two outputs differ, 1-based (0: none).
std::size_t FirstDifferentLine(const std::string& a, const std::string& b) {
  std::istringstream sa(a), sb(b);
  std::string la, lb;
  for (std::size_t line = 1;; ++line) {
    const bool ha = static_cast<bool>(std::getline(sa, la));
    const bool hb = static_cast<bool>(std::getline(sb, lb));
    if (!ha && !hb) return 0;
    if (ha != hb || la != lb) return line;
  }
}

// Runs one script both ways. True when the runs agree (or cannot be compared).
bool RunBothWays(const std::string& script, std::uint32_t passLimit, twoways::RunTrace* fast,
                 twoways::RunTrace* walk, bool* compared) {
  std::vector<char> module;
  std::string error;
  if (!setup::pack::AppendPackage(module, {{"gen.cxx", {script.begin(), script.end()}}}, &error)) {
    std::fprintf(stderr, "equivalence: cannot pack the script: %s\n", error.c_str());
    std::exit(2);
  }
  *fast = twoways::RunPackaged(module, kCommands, 0, passLimit);
  *walk = twoways::RunPackaged(module, kCommands, twoways::kUnreachableSteps, passLimit);
  if (fast->machineFailed || walk->machineFailed) {
    std::fprintf(stderr, "equivalence: the machine did not start: %s\n", fast->out.c_str());
    std::exit(2);
  }
  *compared = twoways::Comparable(*fast, *walk);
  return !*compared || twoways::Agree(*fast, *walk);
}

bool Differs(const std::string& script, std::uint32_t passLimit) {
  twoways::RunTrace fast, walk;
  bool compared = false;
  return !RunBothWays(script, passLimit, &fast, &walk, &compared);
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string JoinLines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// The last line of the block that `lines[first]` opens (its closing brace at
// the same indentation), or `first` when the line opens none.
std::size_t BlockEnd(const std::vector<std::string>& lines, std::size_t first) {
  const std::string& head = lines[first];
  if (head.empty() || head.back() != '{') return first;
  const std::size_t indent = head.find_first_not_of(' ');
  for (std::size_t i = first + 1; i < lines.size(); ++i) {
    const std::size_t at = lines[i].find_first_not_of(' ');
    if (at == indent && lines[i][at] == '}') {
      // "} else {" goes on: the block ends with the else part.
      if (lines[i].back() == '{') continue;
      return i;
    }
  }
  return first;
}

// Removes whole blocks and single lines as long as the script still shows a
// difference; a removal that breaks the script makes both runs fail alike and
// is undone. The result is small enough to read, not minimal in every sense.
std::string Minimize(const std::string& script, std::uint32_t passLimit) {
  std::vector<std::string> lines = SplitLines(script);
  for (bool progress = true; progress;) {
    progress = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      for (const bool block : {true, false}) {
        const std::size_t last = block ? BlockEnd(lines, i) : i;
        if (block && last == i) continue;
        std::vector<std::string> shorter = lines;
        shorter.erase(shorter.begin() + static_cast<std::ptrdiff_t>(i),
                      shorter.begin() + static_cast<std::ptrdiff_t>(last) + 1);
        if (Differs(JoinLines(shorter), passLimit)) {
          lines = std::move(shorter);
          progress = true;
          break;
        }
      }
    }
  }
  return JoinLines(lines);
}

int RunFile(const Settings& settings) {
  std::string script;
  if (settings.scriptFile.empty()) {
    script = equiv::GenerateScript(settings.seed);
  } else {
    std::ifstream in(settings.scriptFile, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "equivalence: cannot read %s\n", settings.scriptFile.c_str());
      return 2;
    }
    script.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  if (settings.minimize) {
    if (!Differs(script, settings.passLimit)) {
      std::printf("==== no difference to keep\n");
      return 0;
    }
    script = Minimize(script, settings.passLimit);
    std::printf("---- script\n%s", script.c_str());
  }
  twoways::RunTrace fast, walk;
  bool compared = false;
  const bool agree = RunBothWays(script, settings.passLimit, &fast, &walk, &compared);
  PrintRun("fast paths", fast);
  PrintRun("tree walk", walk);
  std::printf("==== %s\n", !compared ? "not compared (call stack overflow)"
                           : agree   ? "the same"
                                     : "DIFFERENT");
  return agree ? 0 : 1;
}

void Count(const twoways::RunTrace& run, Tally* tally) {
  ++tally->scripts;
  if (run.out.find("-----Compiled finished.-----") == std::string::npos) return;
  ++tally->compiled;
  if (run.out.find("-----The program executed finished!-----") != std::string::npos) {
    ++tally->finished;
  } else {
    ++tally->failed;
    if (run.out.find("pass limit of") != std::string::npos) ++tally->passLimit;
  }
}

double Percent(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  if (!Parse(argc, argv, &settings)) {
    std::fprintf(stderr,
                 "usage: equivalence [--seed N] [--count N] [--pass-limit N] [--show N]\n"
                 "       equivalence --print SEED | --script FILE | --minimize SEED\n"
                 "(SETUP_EQUIV_SEED and SETUP_EQUIV_COUNT set the defaults of --seed and "
                 "--count)\n");
    return 2;
  }
  if (settings.print) {
    std::fputs(equiv::GenerateScript(settings.seed).c_str(), stdout);
    return 0;
  }
  if (!settings.scriptFile.empty() || settings.minimize) return RunFile(settings);

  const auto start = std::chrono::steady_clock::now();
  Tally tally;
  for (std::uint64_t i = 0; i < settings.count; ++i) {
    const std::uint64_t seed = settings.seed + i;
    const std::string script = equiv::GenerateScript(seed);
    twoways::RunTrace fast, walk;
    bool compared = false;
    const bool agree = RunBothWays(script, settings.passLimit, &fast, &walk, &compared);
    Count(walk, &tally);
    if (!compared) ++tally.notCompared;
    if (agree) continue;
    if (++tally.differences <= settings.show) {
      std::printf("==== DIFFERENCE: script %llu of the run, seed %llu (first different line %zu)\n",
                  static_cast<unsigned long long>(i + 1), static_cast<unsigned long long>(seed),
                  FirstDifferentLine(fast.out, walk.out));
      std::printf("replay: equivalence --seed %llu --count 1   (script: --print %llu)\n",
                  static_cast<unsigned long long>(seed), static_cast<unsigned long long>(seed));
      std::printf("---- script\n%s", script.c_str());
      PrintRun("fast paths", fast);
      PrintRun("tree walk", walk);
    }
    std::fflush(stdout);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  std::printf(
      "equivalence: %llu scripts from seed %llu in %.1f s: %llu compiled (%.0f%%), %llu ran to "
      "the end (%.0f%%), %llu failed while running (%llu at the pass limit), %llu not compared "
      "(call stack overflow); %llu differences\n",
      static_cast<unsigned long long>(tally.scripts),
      static_cast<unsigned long long>(settings.seed), seconds,
      static_cast<unsigned long long>(tally.compiled), Percent(tally.compiled, tally.scripts),
      static_cast<unsigned long long>(tally.finished), Percent(tally.finished, tally.scripts),
      static_cast<unsigned long long>(tally.failed),
      static_cast<unsigned long long>(tally.passLimit),
      static_cast<unsigned long long>(tally.notCompared),
      static_cast<unsigned long long>(tally.differences));
  if (tally.differences > 0) return 1;

  // A comparison of scripts that do not compile, or all fail at once, proves
  // nothing: the generator must keep up with the language.
  if (tally.scripts >= 1000 &&
      (Percent(tally.compiled, tally.scripts) < 85 || Percent(tally.finished, tally.scripts) < 40 ||
       Percent(tally.failed, tally.scripts) < 5)) {
    std::printf(
        "equivalence: the scripts lost their power: at least 85%% must compile, 40%% run to "
        "the end and 5%% fail while running\n");
    return 3;
  }
  return 0;
}
