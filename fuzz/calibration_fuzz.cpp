#include <Poco/Exception.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "calibration/file/CalibrationFile.h"

/// Any text is refused with a message or gives a calibration whose own text reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kavelin::Calibration;
    std::string text;
    try {
        text = calibrationText(parseCalibration({reinterpret_cast<const char*>(data), size}, "fuzz"));
    } catch (const Poco::DataFormatException& refusal) {
        if (!refusal.message().starts_with("fuzz: ")) std::abort();
        return 0;
    }
    if (calibrationText(parseCalibration(text, "again")) != text) std::abort();
    return 0;
}
