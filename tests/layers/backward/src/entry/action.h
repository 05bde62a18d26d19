#pragma once
#include "base/bad.h"
