#include <pybind11/pybind11.h>

#include "python/Bindings.h"

/// The compiled part of the package `kavelin`, a row for each idea. `kavelin/__init__.py` says what of it is public.
PYBIND11_MODULE(_kavelin, module) {
    using namespace Kavelin::Python;
    module.attr("__version__") = KAVELIN_VERSION;
    bindErrors(module);
    bindUnlocked(module);
    bindPlugins(module);
    bindFilter(module);
    bindLayout(module);
    bindRecording(module);
    bindFuse(module);
}
