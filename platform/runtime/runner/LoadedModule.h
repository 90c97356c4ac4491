#pragma once

#include <memory>

#include "platform/runtime/module/ModuleEntry.h"
#include "platform/runtime/transport/FileDescriptor.h"

namespace vuo {

/// A composition's shared object, open in this process. Objects of the same file share one handle;
/// a file that was put in the place of another one gives its own code.
class LoadedModule {
 public:
  /// Throws std::runtime_error when the file is no module of this runtime.
  explicit LoadedModule(FileDescriptor file);
  /// Nothing of the module is used any more.
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  ModuleEntry entry() const { return _entry; }

 private:
  struct Handle;
  static std::shared_ptr<Handle> open(FileDescriptor file);

  std::shared_ptr<Handle> _handle;
  ModuleEntry _entry;
};

}  // namespace vuo
