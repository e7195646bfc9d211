/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Linkage of every exported function.
 *
 * The headers may be included from C89 to C++20; every name has C linkage.
 */
#ifndef QUORVEL_EXPORT_H
#define QUORVEL_EXPORT_H

/** Makes a name visible outside the shared library, whatever a program's own default is. */
#if defined(__GNUC__)
#define QEL_VISIBLE __attribute__((visibility("default")))
#else
#define QEL_VISIBLE
#endif

/** Begins the declaration of an exported function or variable. */
#ifdef __cplusplus
#define QEL_API extern "C" QEL_VISIBLE
#else
#define QEL_API extern QEL_VISIBLE
#endif

#endif
