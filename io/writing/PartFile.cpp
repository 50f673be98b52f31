#include "io/writing/PartFile.h"

#include <Poco/Exception.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Kavelin::RecordingIO {

PartFile::~PartFile() {
    if (!isComplete_) std::remove(name().c_str());
}

void PartFile::complete() {
    isComplete_ = std::rename(name().c_str(), place_.target.c_str()) == 0;
    if (!isComplete_) fail(std::strerror(errno));
}

void PartFile::fail(const std::string& reason) const {
    throw Poco::WriteFileException("cannot write '" + path_ + "'", reason + "; nothing of it is kept");
}

}  // namespace Kavelin::RecordingIO
