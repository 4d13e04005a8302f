#include <ondrix/shading/Module.h>

#ifdef EXPORT_TABLE
const ondrix::shading::ModuleTable* ondrix_shader_module() {
    static constexpr ondrix::shading::ModuleTable table{ondrix::shading::moduleVersion + 1, 0, nullptr, "plain", 1};
    return &table;
}
#endif
