#pragma once

#include <jni.h>

#include <array>
#include <atomic>
#include <cstddef>

#include "native/JniRefs.h"

namespace cvx {

// Member ids of a Java class, looked up once per class object and kept for
// the life of the process, so that a frame costs no field lookups. `Ids` is
// a plain record with `bool resolve(JNIEnv*, jclass)`, which fills it and
// answers false when the class lacks a member that the caller needs.
//
// Entries are keyed by a weak global reference to the class and matched with
// IsSameObject: a class of another name or of another class loader gets its
// own entry, and a class that was unloaded matches nothing any more. An
// entry is written once and then published by an atomic store, so readers
// on any thread take no lock. The entries are few and never reused; once
// they are taken, further classes are looked up on every call, which is
// slower and as correct.
template <class Ids, std::size_t kEntries = 8>
class JniClassCache {
 public:
  // The ids of `cls`; false (and `ids` untouched) when it lacks one.
  bool lookup(JNIEnv* env, jclass cls, Ids& ids) {
    if (cls == nullptr) return false;
    for (std::size_t i = 0; i < published(); ++i) {
      jweak key = entries_[i].cls.load(std::memory_order_acquire);
      if (key != nullptr && env->IsSameObject(key, cls)) {
        ids = entries_[i].ids;
        return true;
      }
    }
    Ids fresh{};
    if (!fresh.resolve(env, cls)) return false;
    keep(env, cls, fresh);
    ids = fresh;
    return true;
  }

  // The same for a class known by name, found through the caller's class
  // loader; `cls` receives a local reference to it. The library is bound to
  // one class loader, so a name stands for one live class at a time: the
  // first entry whose class still lives is that class.
  bool lookupNamed(JNIEnv* env, const char* name, LocalRef<jclass>& cls, Ids& ids) {
    for (std::size_t i = 0; i < published(); ++i) {
      jweak key = entries_[i].cls.load(std::memory_order_acquire);
      if (key == nullptr) continue;
      LocalRef<jclass> live(env, static_cast<jclass>(env->NewLocalRef(key)));
      if (live) {
        cls = std::move(live);
        ids = entries_[i].ids;
        return true;
      }
    }
    LocalRef<jclass> found(env, findClass(env, name));
    if (!found) return false;
    Ids fresh{};
    if (!fresh.resolve(env, found.get())) return false;
    keep(env, found.get(), fresh);
    cls = std::move(found);
    ids = fresh;
    return true;
  }

 private:
  struct Entry {
    std::atomic<jweak> cls{nullptr};  // stored last: publishes ids
    Ids ids{};
  };

  std::size_t published() const {
    const std::size_t claimed = claimed_.load(std::memory_order_acquire);
    return claimed < kEntries ? claimed : kEntries;
  }

  void keep(JNIEnv* env, jclass cls, const Ids& ids) {
    if (claimed_.load(std::memory_order_relaxed) >= kEntries) return;
    const std::size_t index = claimed_.fetch_add(1, std::memory_order_acq_rel);
    if (index >= kEntries) return;
    jweak key = env->NewWeakGlobalRef(cls);
    if (key == nullptr) {
      clearPendingException(env);
      return;  // the entry stays empty and matches nothing
    }
    entries_[index].ids = ids;
    entries_[index].cls.store(key, std::memory_order_release);
  }

  std::array<Entry, kEntries> entries_{};
  std::atomic<std::size_t> claimed_{0};
};

}  // namespace cvx
