#pragma once

/// Everything a filter is made of, in one include.
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Typed/EnumEnumProperty.h>
#include <Kavelin/Typed/FileNameProperty.h>
#include <Kavelin/Typed/Handler.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/Matrix.h>
#include <Kavelin/Typed/OutputPin.h>
#include <Kavelin/Typed/RangeProperty.h>
#include <Kavelin/Typed/ValueProperty.h>

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
