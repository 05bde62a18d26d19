// Failure explanations of setup-run (see diagnose.h).
#include "diagnose.h"

#include <cstdio>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

#include "base/global.h"
#include "script/store/symbols.h"

namespace setuprun {

namespace {

void Say(const std::string& line) {
  std::fprintf(stderr, "setup-run: %s\n", line.c_str());
  std::fflush(stderr);
}

bool Contains(const char* text, std::size_t length, const char* needle) {
  return std::string_view(text, length).find(needle) != std::string_view::npos;
}

// The text of a report without its framing: "\n$ text ", "\nfile(7):text", "\ntext".
std::string ReportText(const char* text, std::size_t length) {
  std::string s(text, length);
  std::size_t start = s.find_first_not_of('\n');
  if (start == std::string::npos) return std::string();
  s.erase(0, start);
  if (s.rfind("$ ", 0) == 0) s.erase(0, 2);
  std::size_t end = s.find('\n');
  if (end != std::string::npos) s.erase(end);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\r')) s.pop_back();
  return s;
}

// Counts the parameters of a command string as Action splits it.
int CountParameters(const std::string& command) {
  int count = 0;
  for (char c : command) count += c == '/';
  return count;
}

}  // namespace

ScriptFacts InspectScript(const std::string& label, const std::string& bytes) {
  ScriptFacts facts;
  facts.label = label;
  facts.byteOrderMark = bytes.rfind("\xEF\xBB\xBF", 0) == 0;
  facts.empty = bytes.find_first_not_of(" \t\r\n") == std::string::npos;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    // Text holds no NUL and no control bytes other than tab, line ends and form feed.
    if (c == 0 || (c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f')) {
      facts.binaryAt = i;
      break;
    }
  }
  facts.mentionsParameters = bytes.find("_Parameters") != std::string::npos;
  return facts;
}

void RunObserver::Begin(const std::string& command) {
  const ScriptFacts facts = std::move(m_Facts);
  *this = RunObserver(facts);
  m_Parameters = CountParameters(command);
  m_Command = command;
}

RunObserver::Location RunObserver::Here() const {
  using setup::theGlobal;
  const int prelude = theGlobal.m_nPreludeLines;
  const auto& includes = setup::theIncludes;
  const std::string current(theGlobal.m_szFileName,
                            strnlen(theGlobal.m_szFileName, sizeof theGlobal.m_szFileName));
  // The outermost file is the expanded script: its lines count from the end
  // of the prelude, and it is named as the user gave it.
  const std::string script = includes.empty() ? current : includes.front()->m_szFileName;
  auto place = [&](const std::string& name, int line) -> std::pair<std::string, int> {
    if (name != script) return {name, line};
    if (line <= prelude) return {"the parameter prelude", line};
    return {m_Facts.label, line - prelude};
  };
  // An include that could not be opened leaves its frame pushed while the
  // including file is still current: that frame is the current place.
  std::size_t frames = includes.size();
  if (frames > 0 && includes[frames - 1]->m_szFileName == current) --frames;

  Location here;
  std::tie(here.file, here.line) = place(current, theGlobal.m_nLineNo);
  for (std::size_t i = frames; i-- > 0;) {
    here.includedFrom.push_back(place(includes[i]->m_szFileName, includes[i]->m_nLineNo));
  }
  here.token.assign(theGlobal.m_szToken, strnlen(theGlobal.m_szToken, sizeof theGlobal.m_szToken));
  return here;
}

void RunObserver::OnOutput(const char* text, std::size_t length) {
  if (text == nullptr || length == 0) return;
  if (Contains(text, length, "-----Compile failed.------")) {
    if (!m_CompileFailed) m_StopPoint = Here();
    m_CompileFailed = true;
    return;
  }
  if (Contains(text, length, "-----Compiled finished.-----")) {
    m_Compiled = true;
    m_HasMain = setup::FindFunction("main") != nullptr;
    return;
  }
  if (Contains(text, length, "-----The program executed finished!-----")) {
    m_Finished = true;
    return;
  }
  const bool reading = setup::theGlobal.m_nLineNo > 0 || !setup::theIncludes.empty();
  if (!m_Compiled && !m_CompileFailed && reading && !m_FirstReport) {
    m_FirstReport = Here();
    m_FirstMessage = ReportText(text, length);
    return;
  }
  if (m_Compiled && !m_Finished) {
    m_RunCalls.clear();
    for (const auto& frame : setup::theCallFrames) m_RunCalls.push_back(frame->m_szFunName);
    m_RunReported = true;
  }
}

void RunObserver::End(int result, bool checkOnly) {
  const std::string& script = m_Facts.label;
  if (m_CompileFailed) {
    const Location where = m_StopPoint ? *m_StopPoint : Location{script, 0, {}, {}};
    std::string line = where.file + ":" + std::to_string(where.line) + ": compilation stopped here";
    if (!m_FirstMessage.empty()) line += ": " + m_FirstMessage;
    Say(line);
    for (const auto& [file, at] : where.includedFrom) {
      Say(file + ":" + std::to_string(at) + ": included from here");
    }
    const std::string token = m_FirstReport ? m_FirstReport->token : where.token;
    if (m_Facts.byteOrderMark) {
      Say("hint: " + script +
          " starts with a UTF-8 byte-order mark, which the language does not accept; save it "
          "without one");
    } else if (m_Facts.binaryAt) {
      Say("hint: " + script + " is not a text file (binary byte at offset " +
          std::to_string(*m_Facts.binaryAt) + ")");
    }
    if (where.file == "the parameter prelude" && m_Command.find('"') != std::string::npos) {
      Say("hint: a parameter of the command holds a double quote, which ends its text in the "
          "prelude early");
    }
    if (m_Parameters == 0 && m_Facts.mentionsParameters &&
        (token == "_Parameters" || m_FirstMessage.find("_Parameters") != std::string::npos)) {
      Say("hint: _Parameters is declared only when the command has a parameter; give a COMMAND "
          "such as /install");
    }
    return;
  }
  if (!m_Compiled) return;  // the call ended before compiling; the library said why
  if (!m_HasMain) {
    Say(script + ": the script has no function 'main' (write num main() { ... })");
    if (m_Facts.empty) Say("hint: " + script + " is empty");
    if (m_Facts.binaryAt) {
      Say("hint: " + script + " is not a text file (binary byte at offset " +
          std::to_string(*m_Facts.binaryAt) + ")");
    }
    return;
  }
  if (checkOnly || m_Finished || result != -1) return;
  if (!m_RunReported) {
    Say(script + ": the run failed");
    return;
  }
  if (m_RunCalls.empty()) {
    Say(script + ": the run failed outside any function (a global initializer or statement)");
    return;
  }
  std::string line = script + ": the run failed in function '" + m_RunCalls.back() + "'";
  if (m_RunCalls.size() > 1) {
    // Recursion shows as one name with its depth: "main > walk x300".
    line += " (calls: ";
    for (std::size_t i = 0; i < m_RunCalls.size();) {
      std::size_t same = i + 1;
      while (same < m_RunCalls.size() && m_RunCalls[same] == m_RunCalls[i]) ++same;
      line += (i ? " > " : "") + m_RunCalls[i];
      // Deep recursion ends where the stack runs out, which varies by build.
      if (same - i > 100) {
        line += " x100+";
      } else if (same - i > 1) {
        line += " x" + std::to_string(same - i);
      }
      i = same;
    }
    line += ")";
  }
  Say(line);
}

}  // namespace setuprun
