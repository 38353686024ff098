#pragma once

#include "common/LogRecord.h"

// The record of one line of ZuDllUpdater, in the function of this name.
#define UPDATER_LOG(function) ZU_LOG("ZuDllUpdater", "ZuDllUpdater", "ZuDllUpdater::" function)
