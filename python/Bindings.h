#pragma once

#include <pybind11/pybind11.h>

namespace Kavelin::Python {

// Each adds one idea to the module; its file has its name.
void bindErrors(pybind11::module_& module);
void bindFilter(pybind11::module_& module);
void bindFuse(pybind11::module_& module);
void bindLayout(pybind11::module_& module);
void bindPlugins(pybind11::module_& module);
void bindRecording(pybind11::module_& module);
void bindUnlocked(pybind11::module_& module);

}  // namespace Kavelin::Python
