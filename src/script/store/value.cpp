// Placeholder until the value records land; keeps the tree linking.
#include "script/store/value.h"

namespace setup {
Variable::~Variable() = default;
}  // namespace setup
