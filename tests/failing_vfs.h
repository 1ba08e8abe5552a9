// An SQLite file layer that can be made to fail: the default one while it exists.
#pragma once

#include <sqlite3.h>

#include <cstring>

namespace wire {

class FailingVfs {
 public:
  // What syncs and writes return; SQLITE_OK: they are carried out.
  static inline int syncResult = SQLITE_OK, writeResult = SQLITE_OK;

  FailingVfs() : real_(sqlite3_vfs_find(nullptr)) {
    s_real = real_;
    vfs_ = *real_;
    vfs_.zName = "failing";
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
    vfs_.xOpen = Open;
    sqlite3_vfs_register(&vfs_, 1);
  }
  ~FailingVfs() {
    syncResult = writeResult = SQLITE_OK;
    sqlite3_vfs_unregister(&vfs_);
  }

 private:
  // The real file follows this one in memory; its methods are called by ours.
  struct File {
    sqlite3_file base;
    const sqlite3_io_methods* realMethods;
    sqlite3_io_methods methods;
  };
  static sqlite3_file* Real(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
  }

  template <auto method, class... Arguments>
  static auto Forward(sqlite3_file* file, Arguments... arguments) {
    return (Real(file)->pMethods->*method)(Real(file), arguments...);
  }
  static int Sync(sqlite3_file* file, int flags) {
    return syncResult != SQLITE_OK ? syncResult : Forward<&sqlite3_io_methods::xSync>(file, flags);
  }
  static int Write(sqlite3_file* file, const void* data, int length, sqlite3_int64 at) {
    if (writeResult != SQLITE_OK) return writeResult;
    return Forward<&sqlite3_io_methods::xWrite>(file, data, length, at);
  }

  static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    using M = sqlite3_io_methods;
    auto* const own = reinterpret_cast<File*>(file);
    own->base.pMethods = nullptr;
    const int result = s_real->xOpen(s_real, name, Real(file), flags, outFlags);
    if (result != SQLITE_OK) return result;
    own->methods = {.iVersion = 2,
                    .xClose = Forward<&M::xClose>,
                    .xRead = Forward<&M::xRead, void*, int, sqlite3_int64>,
                    .xWrite = Write,
                    .xTruncate = Forward<&M::xTruncate, sqlite3_int64>,
                    .xSync = Sync,
                    .xFileSize = Forward<&M::xFileSize, sqlite3_int64*>,
                    .xLock = Forward<&M::xLock, int>,
                    .xUnlock = Forward<&M::xUnlock, int>,
                    .xCheckReservedLock = Forward<&M::xCheckReservedLock, int*>,
                    .xFileControl = Forward<&M::xFileControl, int, void*>,
                    .xSectorSize = Forward<&M::xSectorSize>,
                    .xDeviceCharacteristics = Forward<&M::xDeviceCharacteristics>,
                    .xShmMap = Forward<&M::xShmMap, int, int, int, void volatile**>,
                    .xShmLock = Forward<&M::xShmLock, int, int, int>,
                    .xShmBarrier = Forward<&M::xShmBarrier>,
                    .xShmUnmap = Forward<&M::xShmUnmap, int>,
                    .xFetch = nullptr,
                    .xUnfetch = nullptr};
    own->base.pMethods = &own->methods;
    return SQLITE_OK;
  }

  static inline sqlite3_vfs* s_real = nullptr;
  sqlite3_vfs* real_;
  sqlite3_vfs vfs_;
};

}  // namespace wire
