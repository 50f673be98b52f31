#include <Poco/Exception.h>

#include <cstdint>
#include <cstdlib>

#include "io/files/MatContents.h"

/// What must hold of any bytes: they are refused, or each array has the values that its size says.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kavelin::RecordingIO;
    const auto source = memorySource({reinterpret_cast<const char*>(data), size});
    try {
        const MatContents file = MatContents::read(*source, "fuzz", std::size_t{1} << 22);
        for (const MatArray& array : file.arrays)
            if (array.values.size() != array.rows * array.columns || array.name.empty()) std::abort();
    } catch (const Poco::DataFormatException&) {
    }
    return 0;
}
