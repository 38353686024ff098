// A library that a test module depends on: there or missing, in one place or another.

#if defined(COMPANION_BUILDING)
#define COMPANION_API __declspec(dllexport)
#else
#define COMPANION_API __declspec(dllimport)
#endif

extern "C" COMPANION_API int companionValue();

int companionValue() {
  return 42;
}
