// A core library for tests: the same four operations as the real core, with
// a chosen feature mask and thread count, allocation failures on demand, and
// a count of live blocks.
#include "standin_core.h"

#include <atomic>
#include <cstdlib>

#include "qelcore.h"

namespace {

std::atomic<int32_t> g_threads{0};
std::atomic<int64_t> g_failAt{0};
std::atomic<int> g_failAll{0};
std::atomic<int64_t> g_live{0};
std::atomic<int64_t> g_calls{0};

uint64_t FeaturesFromEnvironment() {
  const char* env = std::getenv("QELR_STANDIN_FEATURES");
  return env ? std::strtoull(env, nullptr, 0) : 16;
}

int32_t ThreadsFromEnvironment() {
  const char* env = std::getenv("QELR_STANDIN_THREADS");
  long n = env ? std::strtol(env, nullptr, 10) : 2;
  return n > 0 ? static_cast<int32_t>(n) : 2;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* qelMalloc(int32_t size) {
  g_calls.fetch_add(1);
  if (g_failAll.load()) return nullptr;
  if (g_failAt.load() > 0 && g_failAt.fetch_sub(1) == 1) return nullptr;
  if (size <= 0) return nullptr;
  void* block = nullptr;
  if (posix_memalign(&block, 64, static_cast<size_t>(size)) != 0) return nullptr;
  g_live.fetch_add(1);
  return block;
}

__attribute__((visibility("default"))) void qelFree(void* ptr) {
  if (!ptr) return;
  g_live.fetch_sub(1);
  std::free(ptr);
}

__attribute__((visibility("default"))) uint64_t qelGetEnabledCpuFeatures(void) {
  return FeaturesFromEnvironment();
}

__attribute__((visibility("default"))) int32_t ownGetNumThreads(void) {
  int32_t n = g_threads.load();
  return n > 0 ? n : ThreadsFromEnvironment();
}

__attribute__((visibility("default"))) void qelSetNumThreads(int32_t count) { g_threads.store(count); }

__attribute__((visibility("default"))) void standinSetNumThreads(int32_t count) { g_threads.store(count); }
__attribute__((visibility("default"))) void standinFailAllocAt(int64_t k) { g_failAt.store(k > 0 ? k : 0); }
__attribute__((visibility("default"))) void standinFailAllAllocs(int on) { g_failAll.store(on); }
__attribute__((visibility("default"))) int64_t standinLiveBlocks(void) { return g_live.load(); }
__attribute__((visibility("default"))) int64_t standinAllocCalls(void) { return g_calls.load(); }
__attribute__((visibility("default"))) uint64_t standinFeatures(void) { return FeaturesFromEnvironment(); }

}  // extern "C"
