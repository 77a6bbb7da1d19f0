/* The macros with which every public header opens and closes its declarations. */
#ifndef VELT_DECL_H
#define VELT_DECL_H

/* clang-format off */
#ifdef __cplusplus
#define VELT_BEGIN_DECLS extern "C" { _Pragma("GCC visibility push(default)")
#define VELT_END_DECLS _Pragma("GCC visibility pop") }
#else
#define VELT_BEGIN_DECLS _Pragma("GCC visibility push(default)")
#define VELT_END_DECLS _Pragma("GCC visibility pop")
#endif
/* clang-format on */

#endif
