// The bound device entry points.
#include "base/deviceapi.h"

namespace setup {

DeviceApi theDeviceApi;

}  // namespace setup
