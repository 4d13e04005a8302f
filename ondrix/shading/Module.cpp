#include <vector>

#include <ondrix/shading/FunctionTable.h>

#if !defined(ONDRIX_SIMD_LEVEL)
#error "ONDRIX_SIMD_LEVEL names the SIMD level that this module is built for"
#endif

using namespace ondrix::shading;

/// Compiled into every module; gathers the tables of the module's sources.
extern "C" __attribute__((visibility("default"))) const ModuleTable* ondrix_shader_module() {
    // Kept for good: a device may still be at work when the process ends.
    static const std::vector<Entry>& entries = *[] {
        auto* all = new std::vector<Entry>;
        for (const FunctionList* list = FunctionList::first(); list != nullptr; list = list->next) {
            all->insert(all->end(), list->entries, list->entries + list->count);
        }
        return all;
    }();
    static const ModuleTable table{moduleVersion, static_cast<std::uint32_t>(entries.size()), entries.data(),
                                   ONDRIX_SIMD_LEVEL, lanes::count};
    return &table;
}
