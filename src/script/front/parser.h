// The recursive-descent parser: declarations, statements, expressions,
// macros and include. Every routine reads from the current token on and
// answers the tree it built (none after a reported error, with ErrorFlag set).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "script/store/node.h"
#include "script/store/value.h"

namespace setup::front {

// ---- Reports ------------------------------------------------------------------------
// The parser's error report: like setup::ReportError, but silent once the
// compilation has been abandoned for nesting too deep, so that unwinding a
// few thousand levels does not repeat a message per level.
int ReportError(const char* format, ...);
// Answers true while the host stack has room for another level of nesting;
// otherwise reports "script nested too deeply." once, sets ErrorFlag and
// silences the reports of the unwinding levels.
[[nodiscard]] bool EnterNesting();
// Ends the compilation after a hard limit was reported (ErrorFlag set, the
// unwinding levels silent).
void AbandonCompilation();
// Clears the front end's own per-compilation state.
void ResetFrontState();

// ---- Statements -----------------------------------------------------------------------
// statement_sequence -> { statement }
NodePtr statement_sequence();
// One statement, chosen by the current token. *produced is set when the
// statement kept its node elsewhere (a function body held by its entry).
NodePtr statement(bool* produced);
NodePtr callexfun_stmt();
NodePtr callinlinefun_stmt();

// ---- Declarations ---------------------------------------------------------------------
void generate_num_key();
void generate_string_key();
// The body of the function whose header was just accepted; kept by its entry.
[[nodiscard]] int exterfun_stmt();
NodePtr init_assign_stmt();
NodePtr record_array_content();
// A constant num (literal or macro); -1 after an error.
std::int32_t const_num_val();
// A constant string (literal or macro) into *out; 0 after an error.
int const_string_val(std::optional<std::string>* out);

// ---- Expressions ----------------------------------------------------------------------
NodePtr expt();
NodePtr op_expt();
NodePtr op_expt2();
NodePtr term_level();
NodePtr factor_level();
NodePtr generate_num_val();
NodePtr generate_string_val();

// ---- Macros and include ---------------------------------------------------------------
void define_stmt();
NodePtr macro_call_stmt();
void include_stmt();

// Whether the scope has a variable of the name and type: the locals of the
// function being compiled, then (unless localOnly) the globals. Names are
// unique within a scope (redefinitions are rejected), so the tables' name
// indexes answer it without walking the lists.
bool ScopeHasVariable(const std::string& name, ValueType type, bool localOnly);

// Sets the parent of a child expression and hangs it in `slot`.
void LinkChild(SyntaxNode* parent, NodePtr& slot, NodePtr child);

}  // namespace setup::front
