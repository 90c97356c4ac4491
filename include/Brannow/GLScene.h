#pragma once

#include "Brannow/BrannowExport.h"

/// The base of the host's GL objects: it can be told that it is about to go.
class BRANNOW_API GLScene {
 public:
  virtual ~GLScene();
  /// True once `prepareToBeDeleted` has been called. Any thread.
  bool deleted() const;
  virtual void prepareToBeDeleted();

 private:
  mutable bool _deleted = false;  // atomic
};
