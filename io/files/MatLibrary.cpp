#include "io/files/MatLibrary.h"

#include <Poco/Exception.h>
#include <dlfcn.h>

namespace Kavelin::RecordingIO {

namespace {

void* handle() {
    // Stays loaded: libraries that come with it do not all survive being unloaded.
    void* const library = ::dlopen(KAVELIN_MATIO_LIBRARY, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr)
        throw Poco::NotFoundException(".mat files take libmatio, which cannot be loaded", ::dlerror());
    return library;
}

template <class Function>
void find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    if (function == nullptr)
        throw Poco::NotFoundException(std::string(KAVELIN_MATIO_LIBRARY " has no function ") + name);
}

MatLibrary load() {
    MatLibrary library;
    void* const from = handle();
    find(from, "Mat_CreateVer", library.create);
    find(from, "Mat_Open", library.open);
    find(from, "Mat_Close", library.close);
    find(from, "Mat_VarCreate", library.makeVariable);
    find(from, "Mat_VarWrite", library.write);
    find(from, "Mat_VarReadNext", library.readNext);
    find(from, "Mat_VarFree", library.freeVariable);
    find(from, "Mat_VarGetNumberOfFields", library.fieldCount);
    find(from, "Mat_VarGetStructFieldnames", library.fieldNames);
    find(from, "Mat_VarGetStructFieldByIndex", library.field);
    find(from, "Mat_VarGetCell", library.cell);
    return library;
}

}  // namespace

const MatLibrary& matLibrary() {
    static const MatLibrary library = load();
    return library;
}

}  // namespace Kavelin::RecordingIO
