# libmatio is loaded when it is needed (io/files/MatLibrary.h): here its header is found, and `matio_name`, the name under which the
# system has it: libmatio.so.11.
find_path(matio_include matio.h REQUIRED)
find_library(matio_library matio REQUIRED)
file(REAL_PATH ${matio_library} matio_file)
string(REGEX MATCH "libmatio\\.so\\.[0-9]+" matio_name ${matio_file})
if(NOT matio_name)
  message(FATAL_ERROR "${matio_file} is no shared library of libmatio")
endif()
mark_as_advanced(matio_include matio_library)
