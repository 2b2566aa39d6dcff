// A module that needs a function which nobody has.
#include "morla/module.h"

bool NobodyHasThis();

namespace {

class CUnresolvedModule final : public ModuleInterface {
public:
    const char* Name() const override { return "unresolved"; }
    const char* Version() const override { return "1"; }
    bool Init(ModuleContext&) override { return NobodyHasThis(); }
    void Run(ModuleContext&) override {}
};

}  // namespace

MORLA_MODULE(CUnresolvedModule)
