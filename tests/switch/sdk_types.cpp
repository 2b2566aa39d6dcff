// Names every type of the SDK, so that its debugging information holds them as authors see them.
#include "morla/debug.h"
#include "morla/module.h"
#include "morla/switch.h"

MORLA_EXPORT void NameTypes(CDebug*, SwitchInterface*, ModuleInterface*, ModuleContext*,
                            _ExtensionModuleLoaderConfig*, RunMode, SwitchNotice,
                            SW_AddRef_Function, SW_Release_Function, SW_QueryInterface_Function);

void NameTypes(CDebug* /*debug*/, SwitchInterface* /*object*/, ModuleInterface* /*module*/,
               ModuleContext* /*context*/, _ExtensionModuleLoaderConfig* /*config*/,
               RunMode /*mode*/, SwitchNotice /*notice*/, SW_AddRef_Function /*addRef*/,
               SW_Release_Function /*release*/, SW_QueryInterface_Function /*query*/) {}
