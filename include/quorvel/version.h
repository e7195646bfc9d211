/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * The version of the package.
 *
 * Programs built with one version run with every later one of the same major number.
 */
#ifndef QUORVEL_VERSION_H
#define QUORVEL_VERSION_H

/** "major.minor.patch" */
#define QUORVEL_VERSION "1.0.0"

/** Changes when the interface breaks; the shared library's name ends with it. */
#define QUORVEL_VERSION_MAJOR 1
/** Changes when the interface grows. */
#define QUORVEL_VERSION_MINOR 0
/** Changes when faults are corrected. */
#define QUORVEL_VERSION_PATCH 0

#endif
