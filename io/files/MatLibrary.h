#pragma once

#include <matio.h>

namespace Kavelin::RecordingIO {

/// What is used of libmatio. It is loaded with the first use: thirty libraries come with it, and every start
/// of a program would pay for them.
struct MatLibrary {
    decltype(&::Mat_CreateVer) create = nullptr;
    decltype(&::Mat_Open) open = nullptr;
    decltype(&::Mat_Close) close = nullptr;
    decltype(&::Mat_VarCreate) makeVariable = nullptr;
    decltype(&::Mat_VarWrite) write = nullptr;
    decltype(&::Mat_VarReadNext) readNext = nullptr;
    decltype(&::Mat_VarFree) freeVariable = nullptr;
    decltype(&::Mat_VarGetNumberOfFields) fieldCount = nullptr;
    decltype(&::Mat_VarGetStructFieldnames) fieldNames = nullptr;
    decltype(&::Mat_VarGetStructFieldByIndex) field = nullptr;
    decltype(&::Mat_VarGetCell) cell = nullptr;
};

/// Raises Poco::NotFoundException where the library is not installed. [any thread]
const MatLibrary& matLibrary();

}  // namespace Kavelin::RecordingIO
