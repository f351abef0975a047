#ifndef QORMATH_EXPORT_H
#define QORMATH_EXPORT_H

/// @file
/// What the shared library exports.

/// Marks what the shared library exports; everything else is compiled hidden.
#define QORMATH_API __attribute__((visibility("default")))

#endif
