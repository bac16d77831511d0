#include "FaultVfs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace JNFoundation::testing {
namespace {

/// The unit that a disk writes whole or not at all.
constexpr std::size_t sectorSize = 512;
constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

[[noreturn]] void stop(const std::string& message) {
  std::fprintf(stderr, "FaultVfs: %s\n", message.c_str());
  std::abort();
}

std::optional<std::string> contentsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

void writeAt(std::string& image, std::size_t offset, std::string_view bytes) {
  if (image.size() < offset + bytes.size()) image.resize(offset + bytes.size(), '\0');
  std::memcpy(image.data() + offset, bytes.data(), bytes.size());
}

/// What was done to a file and is not known to be on the disk.
struct Change {
  enum class Kind { Write, Truncate, Create, Delete };

  bool isOfDirectory() const { return kind == Kind::Create || kind == Kind::Delete; }

  Kind kind;
  /// Where a write begins; the length that a truncation leaves.
  std::size_t offset = 0;
  std::string bytes;
};

/// A path as the disk knows it.
class Disk {
 public:
  explicit Disk(const std::string& path) : _synced(contentsOf(path)) {}

  void add(Change change) { _pending.push_back(std::move(change)); }

  /// Everything that was done to the file so far is on the disk.
  void sync() {
    for (const Change& change : _pending) apply(_synced, change);
    _pending.clear();
  }

  /// The file's name, or that it is gone, is on the disk; not what was written to it since.
  void syncDirectory() {
    const auto last = std::find_if(_pending.rbegin(), _pending.rend(),
                                   [](const Change& change) { return change.isOfDirectory(); });
    if (last == _pending.rend()) return;
    apply(_synced, *last);
    _pending.erase(_pending.begin(), last.base());
  }

  /// Without power: chooses what was left, which is on the disk from now on. Of what was written,
  /// about that share has reached it.
  const std::optional<std::string>& lose(std::mt19937_64& random, double share) {
    // Directories change in order, so a beginning of their changes has happened.
    std::vector<std::size_t> steps;
    for (std::size_t i = 0; i < _pending.size(); ++i) {
      if (_pending[i].isOfDirectory()) steps.push_back(i);
    }
    const std::size_t taken = random() % (steps.size() + 1);
    // What was written to a file of another time under this name does not matter.
    const std::size_t begin = taken == 0 ? 0 : steps[taken - 1];
    const std::size_t end = taken == steps.size() ? _pending.size() : steps[taken];
    std::bernoulli_distribution isWritten(share);
    for (std::size_t i = begin; i < end; ++i) {
      const Change& change = _pending[i];
      if (change.isOfDirectory()) {
        apply(_synced, change);
      } else if (change.kind == Change::Kind::Truncate) {
        if (isWritten(random)) apply(_synced, change);
      } else {
        for (std::size_t at = 0; at < change.bytes.size();) {
          const std::size_t size =
              std::min(sectorSize - (change.offset + at) % sectorSize, change.bytes.size() - at);
          if (isWritten(random)) {
            apply(_synced,
                  {Change::Kind::Write, change.offset + at, change.bytes.substr(at, size)});
          }
          at += size;
        }
      }
    }
    _pending.clear();
    return _synced;
  }

 private:
  static void apply(std::optional<std::string>& image, const Change& change) {
    switch (change.kind) {
      case Change::Kind::Create:
        image.emplace();
        break;
      case Change::Kind::Delete:
        image.reset();
        break;
      case Change::Kind::Write:
        if (!image) stop("a write to a file that is not there");
        writeAt(*image, change.offset, change.bytes);
        break;
      case Change::Kind::Truncate:
        if (!image) stop("a truncation of a file that is not there");
        image->resize(std::min(image->size(), change.offset));
        break;
    }
  }

  /// Nothing for a file that is not there.
  std::optional<std::string> _synced;
  std::vector<Change> _pending;
};

}  // namespace

// ---- What SQLite calls
// ----------------------------------------------------------------------------

/// What the functions below work on.
struct FaultVfsState {
  using Operation = FaultVfs::Operation;

  /// Whether this change is the one in whose middle the power goes, or comes after it.
  bool losesPower() {
    ++changes;
    if (hasPower && --changesLeft == 0) hasPower = false;
    return !hasPower;
  }

  /// Returns: SQLITE_OK, or the code with which this operation fails.
  int failure(Operation operation) {
    const std::uint64_t number = ++counts[static_cast<std::size_t>(operation)];
    const bool isDue = operation == failing &&
                       (number == failingNumber ||
                        (number > failingNumber && lasting == FaultVfs::Lasting::FromThenOn));
    if (!isDue) return SQLITE_OK;
    hasFailed = true;
    return failingCode;
  }

  Disk& diskOf(const std::string& path) { return disks.try_emplace(path, path).first->second; }

  sqlite3_vfs* real = nullptr;
  sqlite3_vfs table{};
  std::map<std::string, Disk> disks;
  int openFiles = 0;

  std::array<std::uint64_t, FaultVfs::operationCount> counts{};
  std::uint64_t logSyncs = 0;
  Operation failing = Operation::Read;
  std::uint64_t failingNumber = never;
  int failingCode = SQLITE_OK;
  FaultVfs::Lasting lasting = FaultVfs::Lasting::Once;
  bool hasFailed = false;
  std::uint64_t room = never;

  std::function<void()> pause;

  bool hasPower = true;
  std::uint64_t changesLeft = never;
  std::uint64_t changes = 0;
};

namespace {

// ---- Files
// ----------------------------------------------------------------------------------------

/// An open file of SQLite's; the real one stands right behind it.
struct File : sqlite3_file {
  static File& of(sqlite3_file* file) { return *static_cast<File*>(file); }
  static sqlite3_file* real(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(static_cast<File*>(file) + 1);
  }

  FaultVfsState* state;
  /// Null for files that do not outlast their use.
  Disk* disk;
  bool isLog;
  /// Whether its next sync is one of the directory too.
  bool syncsDirectory;
};

int closeFile(sqlite3_file* file) {
  --File::of(file).state->openFiles;
  sqlite3_file* real = File::real(file);
  return real->pMethods->xClose(real);
}

int readFile(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
  FaultVfsState& state = *File::of(file).state;
  sqlite3_file* real = File::real(file);
  if (!File::of(file).disk) return real->pMethods->xRead(real, bytes, size, offset);
  if (!state.hasPower) return SQLITE_IOERR_READ;
  if (const int code = state.failure(FaultVfs::Operation::Read)) return code;
  return real->pMethods->xRead(real, bytes, size, offset);
}

int writeReal(sqlite3_file* file, const char* bytes, int size, sqlite3_int64 offset) {
  sqlite3_file* real = File::real(file);
  const int code = real->pMethods->xWrite(real, bytes, size, offset);
  if (code == SQLITE_OK) {
    File::of(file).disk->add({Change::Kind::Write, static_cast<std::size_t>(offset),
                              std::string(bytes, static_cast<std::size_t>(size))});
  }
  return code;
}

int writeFile(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  FaultVfsState& state = *File::of(file).state;
  sqlite3_file* real = File::real(file);
  if (!File::of(file).disk) return real->pMethods->xWrite(real, data, size, offset);
  const auto* bytes = static_cast<const char*>(data);
  if (!state.hasPower) return SQLITE_IOERR_WRITE;
  if (const int code = state.failure(FaultVfs::Operation::Write)) {
    writeReal(file, bytes, size / 2, offset);
    return code;
  }
  sqlite3_int64 length = 0;
  if (const int code = real->pMethods->xFileSize(real, &length)) return code;
  const auto growth =
      static_cast<std::uint64_t>(std::max<sqlite3_int64>(offset + size - length, 0));
  if (growth > state.room) {
    state.hasFailed = true;
    return SQLITE_FULL;
  }
  if (state.room != never) state.room -= growth;
  const int code = writeReal(file, bytes, size, offset);
  return state.losesPower() ? SQLITE_IOERR_WRITE : code;
}

int truncateFile(sqlite3_file* file, sqlite3_int64 length) {
  FaultVfsState& state = *File::of(file).state;
  sqlite3_file* real = File::real(file);
  if (!File::of(file).disk) return real->pMethods->xTruncate(real, length);
  if (!state.hasPower) return SQLITE_IOERR_TRUNCATE;
  if (const int code = state.failure(FaultVfs::Operation::Truncate)) return code;
  const int code = real->pMethods->xTruncate(real, length);
  if (code == SQLITE_OK) {
    File::of(file).disk->add({Change::Kind::Truncate, static_cast<std::size_t>(length), {}});
  }
  return state.losesPower() ? SQLITE_IOERR_TRUNCATE : code;
}

int syncFile(sqlite3_file* file, int flags) {
  File& mine = File::of(file);
  FaultVfsState& state = *mine.state;
  sqlite3_file* real = File::real(file);
  if (!mine.disk) return real->pMethods->xSync(real, flags);
  if (!state.hasPower) return SQLITE_IOERR_FSYNC;
  if (const int code = state.failure(FaultVfs::Operation::Sync)) return code;
  // In the middle of a sync, any of it may have got there.
  if (state.losesPower()) return SQLITE_IOERR_FSYNC;
  if (mine.isLog) ++state.logSyncs;
  mine.disk->sync();
  if (mine.syncsDirectory) {
    for (auto& [path, disk] : state.disks) disk.syncDirectory();
    mine.syncsDirectory = false;
  }
  // The real disk need not be waited for.
  return SQLITE_OK;
}

int fileSize(sqlite3_file* file, sqlite3_int64* size) {
  const File& mine = File::of(file);
  if (mine.disk && !mine.state->hasPower) return SQLITE_IOERR_FSTAT;
  sqlite3_file* real = File::real(file);
  return real->pMethods->xFileSize(real, size);
}

int lockFile(sqlite3_file* file, int level) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xLock(real, level);
}

int unlockFile(sqlite3_file* file, int level) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xUnlock(real, level);
}

int checkReservedLock(sqlite3_file* file, int* result) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xCheckReservedLock(real, result);
}

int fileControl(sqlite3_file* file, int operation, void* argument) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xFileControl(real, operation, argument);
}

int sectorSizeOf(sqlite3_file* file) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xSectorSize(real);
}

int deviceCharacteristics(sqlite3_file* file) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xDeviceCharacteristics(real);
}

int mapShared(sqlite3_file* file, int region, int size, int extend, void volatile** place) {
  if (!File::of(file).state->hasPower) return SQLITE_IOERR_SHMMAP;
  sqlite3_file* real = File::real(file);
  return real->pMethods->xShmMap(real, region, size, extend, place);
}

int lockShared(sqlite3_file* file, int offset, int count, int flags) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xShmLock(real, offset, count, flags);
}

void barrierOfShared(sqlite3_file* file) {
  sqlite3_file* real = File::real(file);
  real->pMethods->xShmBarrier(real);
}

int unmapShared(sqlite3_file* file, int removes) {
  sqlite3_file* real = File::real(file);
  return real->pMethods->xShmUnmap(real, removes);
}

constexpr sqlite3_io_methods fileMethods = {2,
                                            closeFile,
                                            readFile,
                                            writeFile,
                                            truncateFile,
                                            syncFile,
                                            fileSize,
                                            lockFile,
                                            unlockFile,
                                            checkReservedLock,
                                            fileControl,
                                            sectorSizeOf,
                                            deviceCharacteristics,
                                            mapShared,
                                            lockShared,
                                            barrierOfShared,
                                            unmapShared,
                                            nullptr,
                                            nullptr};

// ---- The file system
// ------------------------------------------------------------------------------

FaultVfsState& stateOf(sqlite3_vfs* vfs) { return *static_cast<FaultVfsState*>(vfs->pAppData); }

int openFile(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags) {
  FaultVfsState& state = stateOf(vfs);
  File& mine = File::of(file);
  constexpr int kept = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
  const bool isKept = path && (flags & kept);
  if (isKept && !state.hasPower) return SQLITE_CANTOPEN;
  mine.pMethods = nullptr;
  mine.state = &state;
  mine.disk = isKept ? &state.diskOf(path) : nullptr;
  mine.isLog = flags & SQLITE_OPEN_WAL;
  mine.syncsDirectory =
      (flags & SQLITE_OPEN_CREATE) && (flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL));
  int exists = 1;
  if (isKept) state.real->xAccess(state.real, path, SQLITE_ACCESS_EXISTS, &exists);
  const int code = state.real->xOpen(state.real, path, File::real(file), flags, outFlags);
  if (code != SQLITE_OK) return code;
  mine.pMethods = &fileMethods;
  ++state.openFiles;
  if (!exists) {
    mine.disk->add({Change::Kind::Create, 0, {}});
    // The file is there and open; that the power is gone, its first use finds out.
    state.losesPower();
  }
  return SQLITE_OK;
}

int deleteFile(sqlite3_vfs* vfs, const char* path, int syncsDirectory) {
  FaultVfsState& state = stateOf(vfs);
  if (!state.hasPower) return SQLITE_IOERR_DELETE;
  Disk& disk = state.diskOf(path);
  const int code = state.real->xDelete(state.real, path, 0);
  if (code != SQLITE_OK) return code;
  disk.add({Change::Kind::Delete, 0, {}});
  if (state.losesPower()) return SQLITE_IOERR_DELETE;
  if (syncsDirectory) {
    for (auto& [ignored, other] : state.disks) other.syncDirectory();
  }
  return SQLITE_OK;
}

int accessFile(sqlite3_vfs* vfs, const char* path, int flags, int* result) {
  FaultVfsState& state = stateOf(vfs);
  if (!state.hasPower) return SQLITE_IOERR_ACCESS;
  return state.real->xAccess(state.real, path, flags, result);
}

int fullPath(sqlite3_vfs* vfs, const char* path, int size, char* result) {
  sqlite3_vfs* real = stateOf(vfs).real;
  return real->xFullPathname(real, path, size, result);
}

int randomBytes(sqlite3_vfs* vfs, int size, char* bytes) {
  sqlite3_vfs* real = stateOf(vfs).real;
  return real->xRandomness(real, size, bytes);
}

int sleepFor(sqlite3_vfs* vfs, int microseconds) {
  FaultVfsState& state = stateOf(vfs);
  if (!state.pause) return state.real->xSleep(state.real, microseconds);
  state.pause();
  return microseconds;
}

int currentTime(sqlite3_vfs* vfs, double* days) {
  sqlite3_vfs* real = stateOf(vfs).real;
  return real->xCurrentTime(real, days);
}

int lastError(sqlite3_vfs* vfs, int size, char* text) {
  sqlite3_vfs* real = stateOf(vfs).real;
  return real->xGetLastError(real, size, text);
}

int currentTimeInteger(sqlite3_vfs* vfs, sqlite3_int64* milliseconds) {
  sqlite3_vfs* real = stateOf(vfs).real;
  return real->xCurrentTimeInt64(real, milliseconds);
}

}  // namespace

FaultVfs::FaultVfs() : _state(std::make_unique<FaultVfsState>()) {
  _state->real = sqlite3_vfs_find(nullptr);
  if (!_state->real || std::string_view(_state->real->zName) == "jn-fault") {
    stop("there is one already");
  }
  sqlite3_vfs& table = _state->table;
  table.iVersion = 2;
  table.szOsFile = static_cast<int>(sizeof(File)) + _state->real->szOsFile;
  table.mxPathname = _state->real->mxPathname;
  table.zName = "jn-fault";
  table.pAppData = _state.get();
  table.xOpen = openFile;
  table.xDelete = deleteFile;
  table.xAccess = accessFile;
  table.xFullPathname = fullPath;
  table.xRandomness = randomBytes;
  table.xSleep = sleepFor;
  table.xCurrentTime = currentTime;
  table.xGetLastError = lastError;
  table.xCurrentTimeInt64 = currentTimeInteger;
  sqlite3_vfs_register(&table, 1);
}

FaultVfs::~FaultVfs() {
  if (_state->openFiles != 0) stop("files are still open");
  sqlite3_vfs_unregister(&_state->table);
}

void FaultVfs::fail(Operation operation, std::uint64_t number, int code, Lasting lasting) {
  _state->failing = operation;
  _state->failingNumber = _state->counts[static_cast<std::size_t>(operation)] + number;
  _state->failingCode = code;
  _state->lasting = lasting;
  _state->hasFailed = false;
}

void FaultVfs::heal() noexcept {
  _state->failingNumber = never;
  _state->room = never;
}

bool FaultVfs::hasFailed() const noexcept { return _state->hasFailed; }

void FaultVfs::setRoom(std::uint64_t bytes) noexcept {
  _state->room = bytes;
  _state->hasFailed = false;
}

void FaultVfs::setPause(std::function<void()> block) { _state->pause = std::move(block); }

std::uint64_t FaultVfs::count(Operation operation) const noexcept {
  return _state->counts[static_cast<std::size_t>(operation)];
}

std::uint64_t FaultVfs::logSyncs() const noexcept { return _state->logSyncs; }

int FaultVfs::usualCode(Operation operation) noexcept {
  switch (operation) {
    case Operation::Read:
      return SQLITE_IOERR_READ;
    case Operation::Write:
      return SQLITE_IOERR_WRITE;
    case Operation::Sync:
      return SQLITE_IOERR_FSYNC;
    case Operation::Truncate:
      break;
  }
  return SQLITE_IOERR_TRUNCATE;
}

void FaultVfs::cutPowerAfter(std::uint64_t changes) noexcept { _state->changesLeft = changes; }

bool FaultVfs::hasPower() const noexcept { return _state->hasPower; }

std::uint64_t FaultVfs::changes() const noexcept { return _state->changes; }

void FaultVfs::restorePower(std::mt19937_64& random) {
  if (_state->openFiles != 0) stop("the power comes back while files are open");
  // Nothing, most, or all but very little of what waited has reached the disk.
  const double lost = std::pow(10, -std::uniform_real_distribution<double>(0, 4)(random));
  const std::uint64_t kind = random() % 8;
  const double share = kind == 0 ? 0 : kind == 1 ? 1 : 1 - lost;
  for (auto& [path, disk] : _state->disks) {
    std::error_code ignored;
    if (const std::optional<std::string>& left = disk.lose(random, share)) {
      std::ofstream(path, std::ios::binary | std::ios::trunc) << *left;
    } else {
      std::filesystem::remove(path, ignored);
    }
    std::filesystem::remove(path + "-shm", ignored);
  }
  _state->hasPower = true;
  _state->changesLeft = never;
}

}  // namespace JNFoundation::testing
