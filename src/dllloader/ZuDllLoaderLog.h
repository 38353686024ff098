#pragma once

#include "common/LogRecord.h"

// The record of one line of ZuDllLoader, in the function of this name.
#define LOADER_LOG(function) ZU_LOG("ZuDllLoader", "ZuDllLoader", "ZuDllLoader::" function)
