#include "runtime/RuntimeExport.h"
#include "runtime/graph/CurrentProcessInstance.h"
#include "runtime/module/ModuleEntry.h"

extern "C" BRANNOW_RUNTIME vuo::Instance* vuoMakeInstance4(const vuo::Plan& plan,
                                                           const std::string& folder,
                                                           vuo::InstanceListener& listener) {
  return new vuo::CurrentProcessInstance(plan, folder, listener);
}
static_assert(std::is_same_v<decltype(&vuoMakeInstance4), vuo::ModuleEntry>);
