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
#include <Kavelin/Typed/State.h>
#include <Kavelin/Typed/TakeTogether.h>
#include <Kavelin/Typed/ValueProperty.h>

namespace Kavelin::OrientationInternal {

using Core::allFit;
using Core::AnyTime;
using Core::CommandProperty;
using Core::EnumEnumProperty;
using Core::EnumProperty;
using Core::FileNameProperty;
using Core::Filter;
using Core::handler;
using Core::holdAndTakeTogether;
using Core::InputPin;
using Core::Matrix;
using Core::newestStamp;
using Core::NonBlocking;
using Core::OutputPin;
using Core::RangeProperty;
using Core::shapeOf;
using Core::takeTogether;
using Core::ValueProperty;
using Core::WithoutState;
using Core::WithState;

// What pins carry.
using Core::anyArrangement;
using Core::asColumn;
using Core::inFrame;
using Core::inUnit;
using Core::kAcceleration;
using Core::kAngle;
using Core::kField;
using Core::kFlag;
using Core::kLinearAcceleration;
using Core::kNumber;
using Core::kQuaternion;
using Core::kRate;
using Core::kRequest;
using Core::kRotation;
using Core::kSensorFrame;
using Core::kSensorToEarth;
using Core::kSensorToNorthWestUp;
using Core::kSensorToStart;
using Core::kTurnSinceStart;
using Core::optional;
using Core::quaternionOrMatrix;
using Core::stampedWithWallClock;
using Core::taking;

}  // namespace Kavelin::OrientationInternal
