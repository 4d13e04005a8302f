// `.cube` files: one that is read obeys what LookUpTable promises, every other has a reason.
#include <cmath>

#include <ondrix/effects/LookUpTable.h>

#include "FuzzTarget.h"

using namespace ondrix;
using test::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const test::MemoryFile file(bytes, size);
    std::string reason;
    const auto table = effects::LookUpTable::read(file.path(), reason);
    require((table == nullptr) == !reason.empty(), "a table, or else a reason");
    if (table == nullptr) {
        require(reason.find('\n') == std::string::npos, "a reason of one line");
        return 0;
    }
    require(table->size >= 2 && table->size <= 129, "a size from 2 to 129");
    const auto side = static_cast<std::size_t>(table->size);
    require(table->colours.size() == 3 * side * side * side, "as many colours as its size says");
    require(std::all_of(table->colours.begin(), table->colours.end(), [](float c) { return std::isfinite(c); }),
            "finite colours");
    for (int axis = 0; axis < 3; ++axis) require(table->minimum[axis] < table->maximum[axis], "a range");
    return 0;
}
