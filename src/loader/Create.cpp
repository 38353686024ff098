#include <zuvia/Exports.h>

#include "loader/ZuLoader.h"

// The one export; zuviaplugin.def names it.
extern "C" zuvia::IPluginEntryPoint* create() {
  // Never deleted: the plugin object lives until the process ends, whatever order modules go in.
  static zuvia::ZuLoader* const loader = new zuvia::ZuLoader;
  return loader;
}
