// A disk that takes no more, or a process that is killed, at the n-th write of this process: of SQLite (by its own
// table of system calls) and of the tested code (linked with
// -Wl,--wrap=fwrite,--wrap=fsync,--wrap=rename,--wrap=posix_spawnp).
#pragma once

enum class Fault {
    fullDisk,  // this write and all further ones fail with ENOSPC
    kill,      // SIGKILL; also where a full disk does no harm: on removing, renaming and shortening files
};

// While one lives, the fault comes after `allowed` other writes.
class WriteFault {
  public:
    WriteFault(Fault fault, int allowed);
    ~WriteFault();
    WriteFault(const WriteFault&) = delete;
    WriteFault& operator=(const WriteFault&) = delete;

    [[nodiscard]] static bool hasCome();
};
