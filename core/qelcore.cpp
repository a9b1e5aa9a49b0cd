#include "qelcore.h"

#include <atomic>
#include <cpuid.h>
#include <cstdlib>
#include <unistd.h>

namespace {

constexpr uint64_t kFeatureSsse3 = 16;
constexpr uint64_t kFeatureMovbe = 32;

std::atomic<int32_t> g_threadOverride{0};

// SSSE3 is usable when the processor reports it; it needs no OS support
// beyond the SSE state every x86-64 system saves.
uint64_t ReadCpuFeatures() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return 0;
  uint64_t mask = 0;
  if (ecx & bit_SSSE3) mask |= kFeatureSsse3;
  if (ecx & bit_MOVBE) mask |= kFeatureMovbe;
  return mask;
}

int32_t DefaultThreadCount() {
  if (const char* env = std::getenv("OMP_NUM_THREADS")) {
    // OMP_NUM_THREADS may be a list ("4,2"); the first entry is ours.
    char* end = nullptr;
    long value = std::strtol(env, &end, 10);
    if (end != env && value > 0) return value > 4096 ? 4096 : static_cast<int32_t>(value);
  }
  long cpus = sysconf(_SC_NPROCESSORS_ONLN);
  return cpus > 0 ? static_cast<int32_t>(cpus) : 1;
}

}  // namespace

extern "C" {

void* qelMalloc(int32_t size) {
  if (size <= 0) return nullptr;
  void* block = nullptr;
  if (posix_memalign(&block, 64, static_cast<size_t>(size)) != 0) return nullptr;
  return block;
}

void qelFree(void* ptr) { std::free(ptr); }

uint64_t qelGetEnabledCpuFeatures(void) { return ReadCpuFeatures(); }

int32_t ownGetNumThreads(void) {
  int32_t fixed = g_threadOverride.load(std::memory_order_relaxed);
  return fixed > 0 ? fixed : DefaultThreadCount();
}

void qelSetNumThreads(int32_t count) {
  g_threadOverride.store(count > 0 ? count : 0, std::memory_order_relaxed);
}

}  // extern "C"
