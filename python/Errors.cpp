#include "python/Errors.h"

#include <Poco/Exception.h>

#include "cli/CommandContext.h"
#include "python/Bindings.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

using Kind = Refusal::Kind;

template <class... Classes>
bool isAnyOf(const std::exception& error) {
    return ((dynamic_cast<const Classes*>(&error) != nullptr) || ...);
}

const char* nameOf(Kind kind) {
    switch (kind) {
        case Kind::kInvalidValue:
            return "InvalidValue";
        case Kind::kWrongType:
            return "WrongType";
        case Kind::kUnknownName:
            return "UnknownName";
        case Kind::kReadOnly:
            return "ReadOnly";
        case Kind::kFileError:
            return "FileError";
        case Kind::kMissingFile:
            return "MissingFile";
        case Kind::kError:
            break;
    }
    return "Error";
}

/// Text of files need not be UTF-8: other bytes become U+FFFD.
py::str pythonText(const std::string& text) {
    PyObject* decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
    if (decoded == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

void raise(const std::exception& error) {
    try {
        const py::object kind = py::module_::import("kavelin._errors").attr(nameOf(kindOf(error)));
        PyErr_SetObject(kind.ptr(), pythonText(textOf(error)).ptr());
    } catch (py::error_already_set& other) {  // out of memory, or an interpreter that ends
        other.restore();
    }
}

/// Python's own kinds are left to pybind11: a bad cast of an argument, an index, the end of an iterator.
void translate(std::exception_ptr thrown) {
    if (!thrown) return;
    try {
        std::rethrow_exception(thrown);
    } catch (const py::builtin_exception&) {
        throw;
    } catch (const py::error_already_set&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        raise(error);
    }
}

}  // namespace

Kind kindOf(const std::exception& error) {
    if (const auto* refusal = dynamic_cast<const Refusal*>(&error)) return refusal->kind();
    if (isAnyOf<Poco::FileNotFoundException>(error)) return Kind::kMissingFile;
    if (isAnyOf<Poco::IOException>(error)) return Kind::kFileError;
    if (isAnyOf<Poco::NotFoundException>(error)) return Kind::kUnknownName;
    if (isAnyOf<Poco::NoPermissionException>(error)) return Kind::kReadOnly;
    if (isAnyOf<Cli::UsageError, Poco::DataException, Poco::RangeException, Poco::InvalidArgumentException,
                Poco::ExistsException, Poco::BadCastException>(error))
        return Kind::kInvalidValue;
    return Kind::kError;
}

std::string textOf(const std::exception& error) {
    const std::string message = Core::exceptionMessage(error);
    return message.empty() ? Core::exceptionType(error) : message;
}

void bindErrors(py::module_&) { py::register_local_exception_translator(&translate); }

}  // namespace Kavelin::Python
