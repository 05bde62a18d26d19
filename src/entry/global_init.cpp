// Construction of theGlobal. It lives at the top of the tree because it fills
// the tables whose row types belong to the layers above the shared state: the
// keyword table (front end) and the built-in table (builtins).
#include "base/global.h"
#include "builtins/table.h"
#include "script/front/keywords.h"

namespace setup {

Global theGlobal;

Global::Global() {
  ResetGlobal(*this);
  InitKeywordTable(*this);
  InitBuiltinTable(*this);
}

}  // namespace setup
