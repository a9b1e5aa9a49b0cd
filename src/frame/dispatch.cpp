// The library's entry: variant selection at load, the dispatch table, and
// one frameless entry stub per export.
#include "frame/qelr_internal.h"

extern "C" {

int32_t qelrVariant = 0;

// Implementation symbols, each typed as the export it implements.
#define QELR_EXPORT(place, name, v8impl, s8impl) \
  decltype(::name) v8impl;                        \
  decltype(::name) s8impl;
#define QELR_PENDING(place, name)
#include "frame/exports.def"
#undef QELR_EXPORT
#undef QELR_PENDING

// Slot 2e holds the v8 implementation of export e, slot 2e + 1 the s8 one.
const void* const qelrDispatch[104] = {
#define QELR_EXPORT(place, name, v8impl, s8impl) \
  reinterpret_cast<const void*>(&v8impl), reinterpret_cast<const void*>(&s8impl),
#define QELR_PENDING(place, name) nullptr, nullptr,
#include "frame/exports.def"
#undef QELR_EXPORT
#undef QELR_PENDING
};

}  // extern "C"

namespace {

// exports.def must list every place once, in order.
constexpr int32_t kPlaces[] = {
#define QELR_EXPORT(place, name, v8impl, s8impl) place,
#define QELR_PENDING(place, name) place,
#include "frame/exports.def"
#undef QELR_EXPORT
#undef QELR_PENDING
};

constexpr bool PlacesInOrder() {
  for (int32_t i = 0; i < 52; ++i)
    if (kPlaces[i] != i + 1) return false;
  return true;
}
static_assert(sizeof(kPlaces) / sizeof(kPlaces[0]) == 52, "exports.def must list 52 exports");
static_assert(PlacesInOrder(), "exports.def must list the exports in place order");

}  // namespace

// Each entry loads the variant and jumps through its slot.  Written in
// assembly so that it has no frame at any optimisation level: the
// implementation receives the caller's arguments and returns to the caller.
#define QELR_EXPORT(place, name, v8impl, s8impl)                 \
  asm(".text\n"                                                 \
      ".p2align 4\n"                                            \
      ".globl " #name "\n"                                      \
      ".type " #name ", @function\n" #name                      \
      ":\n"                                                     \
      "\tmovslq qelrVariant(%rip), %rax\n"                      \
      "\tleaq qelrDispatch(%rip), %r11\n"                       \
      "\tjmp *16*" #place "-16(%r11,%rax,8)\n"                  \
      ".size " #name ", .-" #name "\n");
#define QELR_PENDING(place, name)
#include "frame/exports.def"
#undef QELR_EXPORT
#undef QELR_PENDING

int32_t ownSelectVariant(uint64_t features) {
  const uint64_t kSsse3 = 16, kMovbe = 32;
  return ((features & kSsse3) && (features & kMovbe)) ? 1 : 0;
}

// Runs once when the library is loaded, before any export can be called.
__attribute__((constructor)) static void QelrAttach() {
  qelrVariant = ownSelectVariant(qelGetEnabledCpuFeatures());
}
