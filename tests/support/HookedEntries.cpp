#include "support/HookedEntries.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace zuvia::test {
namespace {

HMODULE addReference(HMODULE module) {
  HMODULE referenced = nullptr;
  const auto address = reinterpret_cast<const wchar_t*>(module);
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, address, &referenced);
  return referenced;
}

}  // namespace

HookedEntries::HookedEntries(HMODULE module, const std::string& function, const std::string& library)
    : m_function(function), m_imports(findImports(module, function, library)) {
  if (m_imports.empty()) throw std::runtime_error("The module does not import " + function);
  m_original = *m_imports.front().entry;
  m_module = addReference(module);
}

HookedEntries::~HookedEntries() {
  FreeLibrary(m_module);
}

void HookedEntries::replace(void* replacement) {
  m_replacement = replacement;
  for (const Import& import : m_imports) exchangeEntry(import.entry, replacement);
}

bool HookedEntries::restore() {
  bool whole = true;
  for (const Import& import : m_imports) {
    if (*import.entry == m_replacement) {
      exchangeEntry(import.entry, m_original);
    } else {
      whole = false;
    }
  }
  if (!whole) ADD_FAILURE() << "The hooks of " << m_function << " did not end in the reverse order of their making";
  return whole;
}

void* findFunction(const std::string& library, const std::string& function) {
  const HMODULE module = GetModuleHandleA(library.c_str());
  const FARPROC found = module == nullptr ? nullptr : GetProcAddress(module, function.c_str());
  if (found == nullptr) throw std::runtime_error("There is no " + function + " in " + library);
  return reinterpret_cast<void*>(found);
}

}  // namespace zuvia::test
