// slrt: shading-language run-time library.
//
// Symbol visibility.  The library is built with hidden visibility; SLRT_API
// marks the declarations that form its interface.  SLRT_C_BEGIN/SLRT_C_END
// bracket the shading operations that compiled shaders call by plain name.
#ifndef SLRT_EXPORT_H
#define SLRT_EXPORT_H

#if defined(__GNUC__)
#define SLRT_API __attribute__((visibility("default")))
#else
#define SLRT_API
#endif

#ifdef __cplusplus
#define SLRT_C_BEGIN extern "C" {
#define SLRT_C_END }
#else
#define SLRT_C_BEGIN
#define SLRT_C_END
#endif

#endif  // SLRT_EXPORT_H
