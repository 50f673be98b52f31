#pragma once

/// What the test of a filter needs.
#include <Kavelin/Testing/FilterHarness.h>

#include "support/Matchers.h"
#include "support/Motion.h"
#include "support/TestKit.h"
