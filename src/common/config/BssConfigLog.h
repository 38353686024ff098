#pragma once

#include "common/LogRecord.h"

// The record of one line of BssConfig, in the function of this name.
#define CONFIG_LOG(function) ZU_LOG("BssConfig", "..\\common\\config\\BssConfig", "BssConfig::" function)
