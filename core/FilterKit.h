#pragma once

/// Everything a filter is made of, in one include.
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/Filter.h>

#include "core/EnumEnumProperty.h"
#include "core/FileNameProperty.h"
#include "core/Handler.h"
#include "core/InputPin.h"
#include "core/Matrix.h"
#include "core/OutputPin.h"
#include "core/RangeProperty.h"
#include "core/ValueProperty.h"

namespace Kavelin::OrientationInternal {

using Core::AnyTime;
using Core::CommandProperty;
using Core::EnumEnumProperty;
using Core::EnumProperty;
using Core::FileNameProperty;
using Core::Filter;
using Core::handler;
using Core::InputPin;
using Core::Matrix;
using Core::NonBlocking;
using Core::OutputPin;
using Core::RangeProperty;
using Core::ValueProperty;

}  // namespace Kavelin::OrientationInternal
