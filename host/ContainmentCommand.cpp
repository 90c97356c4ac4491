#include "host/ContainmentCommand.h"

#include <iostream>

#include "Brannow/VuoContainment.h"

int tellContainment() {
  const auto missing = VuoContainment_missing();
  for (const std::string& sentence : missing) std::cout << sentence << '\n';
  if (missing.empty()) std::cout << "The processes of compositions are contained\n";
  return missing.empty() ? 0 : 1;
}
