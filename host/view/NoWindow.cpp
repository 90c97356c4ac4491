// In the place of the window, where BRANNOW_BUILD_VIEW is off.
#include <iostream>

#include "host/view/ViewCommand.h"

int view(const ViewOptions&) {
  std::cerr << "brannow: it was built without the window (BRANNOW_BUILD_VIEW)\n";
  return 1;
}
