#pragma once

#include <zuvia/InterfaceIds.h>

namespace zuvia {

// The root of every interface that the plugin object and an implementation object offer.
//
// The interfaces are a binary contract between modules that were built separately. Host, plugin
// and implementation must be built with the same compiler family and the same C++ run-time
// library. The order of the operations and the virtual inheritance are part of the contract:
// never reorder, insert or remove an operation; a new capability is a new interface.
//
// Unless an operation says otherwise, the host calls it from one thread.
class IZUPlugin {
 public:
  // Deletes the object through the allocator of the module that made it.
  // The plugin object need not be deleted: it lives until the process ends.
  virtual ~IZUPlugin() = default;

  // Finds another interface of the same object.
  //
  // iid: one of the constants of InterfaceIds.h, or a variable holding an equal text. The text
  //      is compared, byte by byte; not the address.
  // Returns the interface, to be cast to the type that the identifier names, or null when the
  // object does not have it. The pointer is owned by the object and lives as long as it.
  // Any thread. Changes nothing and logs nothing.
  virtual void* queryInterface(const char* const& iid) = 0;
};

}  // namespace zuvia
