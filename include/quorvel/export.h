/* Linkage of every exported function. */
#ifndef QUORVEL_EXPORT_H
#define QUORVEL_EXPORT_H

#if defined(__GNUC__)
#define QEL_VISIBLE __attribute__((visibility("default")))
#else
#define QEL_VISIBLE
#endif

#ifdef __cplusplus
#define QEL_API extern "C" QEL_VISIBLE
#else
#define QEL_API extern QEL_VISIBLE
#endif

#endif
