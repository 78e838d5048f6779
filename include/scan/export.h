// QORSC_API marks what the qorsc shared library exports; everything else in it is
// hidden. Builds that link the library's objects statically see no difference.
#pragma once

#if defined(QORSC_BUILDING_LIBRARY)
#define QORSC_API __attribute__((visibility("default")))
#else
#define QORSC_API
#endif
