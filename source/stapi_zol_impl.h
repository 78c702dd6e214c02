// The public calls' own helpers: initialisation, text copies, and the workers that walk a result set.
// The calls themselves are declared in zolstats.h, the header for applications.
// The layout of a result set buffer stands in stapi_zol_resultsetbuffer.h.
#ifndef STAPI_ZOL_IMPL_H
#define STAPI_ZOL_IMPL_H

#include "zolstats/zolstats.h"

namespace zolstats {

// Texts that are copied for the application or from it have fewer bytes than this, NUL included.
inline constexpr int TEXT_SIZE_LIMIT = 32767;

inline constexpr int TEXT_NO_MEMORY = -1;
inline constexpr int TEXT_INVALID = -2;

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_impl[];
extern const char copyright4stapi_zol_impl[];

// Make the library ready; called first by every public call. 0, ZOLSTATS_TRACE_LOCK_FAILED,
// ZOLSTATS_NO_MEMORY or ZOLSTATS_LIST_LOCK_FAILED; a failure is not remembered.
int stapiInit(void);

// Replace the text at *outputPtr, memory from malloc() or null, by a copy of str: 0, TEXT_INVALID when an
// argument is null or the text too long, or TEXT_NO_MEMORY with *outputPtr null.
int dup2ASCIIString(const char* str, char** outputPtr);

// The walks behind the public calls of these names, without their checks: 0 or ZOLSTATS_NO_MORE_ITEMS.
int getFirstStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr);
int getNextStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr);
int getFirstIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr);
int getNextIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr);
}

#endif
