#pragma once

/// Marks what the host library exports; everything else is built with hidden visibility.
#define KAVELIN_API __attribute__((visibility("default")))
