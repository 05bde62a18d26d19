#pragma once
#include "entry/action.h"
