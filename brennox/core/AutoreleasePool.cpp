// One flat vector of pending releases per thread; a pool is a mark in it. Pools nest strictly, so
// the innermost one always owns the tail.
#include <brennox/AutoreleasePool.h>
#include <brennox/Object.h>

#include <vector>

namespace brennox {
namespace {

struct ThreadPools {
  std::vector<Object*> pending;
  std::size_t depth = 0;
};

ThreadPools& pools() {
  thread_local ThreadPools threadPools;
  return threadPools;
}

}  // namespace

AutoreleasePool::AutoreleasePool() : mark_(pools().pending.size()) {
  ++pools().depth;
}

AutoreleasePool::~AutoreleasePool() {
  ThreadPools& own = pools();
  // A destructor that runs here may autorelease more: take one at a time.
  while (own.pending.size() > mark_) {
    Object* object = own.pending.back();
    own.pending.pop_back();
    object->release();
  }
  --own.depth;
}

void AutoreleasePool::autorelease(Object* object) {
  ThreadPools& own = pools();
  if (own.depth > 0) {
    own.pending.push_back(object);
  }
}

}  // namespace brennox
