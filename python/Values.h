#pragma once

#include <Kavelin/Core/AbstractProperty.h>
#include <pybind11/pybind11.h>

#include <string>

#include "cli/layout/PropertyValue.h"

namespace Kavelin::Python {

// Values of properties. All with the interpreter's lock.

/// A bool, a number, a text, a path, or an array or nested list for a matrix: k elements are a row, or a column where
/// `property` (which may be null) has one now.  @param name of the value, for messages  @throws Refusal for other types
Cli::PropertyValue valueOf(pybind11::handle object, const std::string& name,
                           const Core::AbstractProperty* property);

/// The present value: bool, int, float, str (of an enumeration its label) or array, r x c.
pybind11::object presentOf(const Core::AbstractProperty& property);
/// The same of a value and its property's kind.
pybind11::object presentOf(const Cli::PropertyValue& value, const std::string& kind);

/// The bytes of a text or path, as the system names files.  @throws Refusal for other types
std::string textOf(pybind11::handle object, const std::string& name);

/// A text that a function takes, as `textOf` reads it.
struct Text {
    std::string bytes;
    operator const std::string&() const { return bytes; }
};

/// Bytes that are not UTF-8 become surrogates, as Python has them in the names of files.
pybind11::str toPython(const std::string& text);

}  // namespace Kavelin::Python

template <>
struct pybind11::detail::type_caster<Kavelin::Python::Text> {
    PYBIND11_TYPE_CASTER(Kavelin::Python::Text, const_name("str"));
    bool load(handle source, bool) {
        value.bytes = Kavelin::Python::textOf(source, "argument");
        return true;
    }
};
