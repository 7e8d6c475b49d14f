#pragma once
// The one route for errors. A routine reports a bad parameter (info >= 1) or an
// internal condition (info <= 0) and then returns with its output untouched.

#include "frame/export.h"

namespace tav {

using xerbla_handler = void (*)(const char *name, const int *info, int length);

// Hands the report to the installed handler, or to _default_xerbla when none is.
void xerbla(const char *name, const int *info, int length);

// Installs a handler; a null handler brings back _default_xerbla. A plain store.
void xerbla_set_hook(xerbla_handler handler);

}  // namespace tav

TAV_EXPORT void _default_xerbla(const char *name, const int *info, int length);
