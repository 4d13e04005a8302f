// A shader module whose table its host sets.
#include <ondrix/shading/Module.h>

extern "C" {
extern const ondrix::shading::ModuleTable* fuzzTable;
const ondrix::shading::ModuleTable* fuzzTable = nullptr;
const ondrix::shading::ModuleTable* ondrix_shader_module() {
    return fuzzTable;
}
}
