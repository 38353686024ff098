#pragma once

#if defined(MISSING_LIBRARY_BUILDING)
#define MISSING_LIBRARY_API __declspec(dllexport)
#else
#define MISSING_LIBRARY_API __declspec(dllimport)
#endif

// The one function of a library that is linked against and never delivered.
extern "C" MISSING_LIBRARY_API int missingLibraryValue();
