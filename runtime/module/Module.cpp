#include "runtime/RuntimeExport.h"
#include "runtime/graph/LocalComposition.h"
#include "runtime/module/ModuleEntry.h"

extern "C" BRANNOW_RUNTIME vuo::Composition* vuoMakeComposition3(
    const vuo::Plan& plan, const std::string& folder, vuo::CompositionListener& listener) {
  return new vuo::LocalComposition(plan, folder, listener);
}
static_assert(std::is_same_v<decltype(&vuoMakeComposition3), vuo::ModuleEntry>);
