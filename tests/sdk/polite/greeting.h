#pragma once

#if defined(greeting_EXPORTS)
#define GREETING_API __declspec(dllexport)
#else
#define GREETING_API __declspec(dllimport)
#endif

// What a greeting begins with.
extern "C" GREETING_API const char* greeting();
