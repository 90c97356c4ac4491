#include "Brannow/BrannowVersion.h"

const char* BrannowVersion::text() {
  return BRANNOW_VERSION;
}

int BrannowVersion::number() {
  return BRANNOW_VERSION_NUMBER;
}
