// The settings-file reader on any bytes: every lookup of what was found must succeed,
// and none may crash or hang.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <new>
#include <sstream>
#include <string>

#include "settings/IniFile.h"

namespace {

using Kavelin::OrientationInternal::IniFile;

const char* const kSections[] = {"MIG", "Resolution", ""};
const char* const kNames[] = {"**XhatKK", "**Pf", "**Qd", "alpha_A", "T_setref", ""};

void lookUp(const IniFile& file, const std::string& section, const std::string& name) {
    file.getValue(section, name);
    file.getDouble(section, name);
    try {
        file.getMatrix(section, name);
    } catch (const std::bad_alloc&) {
        // Documented: dimensions that the text does not back.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::cout.setstate(std::ios::failbit);  // the lookups' messages are not of interest here
    IniFile file("fuzz");
    std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
    file.parse(input);
    for (const char* section : kSections) {
        const int key = file.findKey(section);
        for (const char* name : kNames) {
            lookUp(file, section, name);
            if (key < 0 && file.findValue(key, name) >= 0) std::abort();
        }
    }
    return 0;
}
