#pragma once

#include "common/LogRecord.h"

// The record of one line of ZuLoaderPrivate, in the function of this name.
#define BRIDGE_LOG(function) ZU_LOG("ZuLoaderPrivate", "ZuLoader", "ZuLoaderPrivate::" function)
