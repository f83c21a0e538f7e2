// Preloaded into the programs that an emulator runs. Its vfork is a fork, by which the C library's posix_spawnp cannot
// tell that a program could not be executed: here it looks for the program first.
#include <dlfcn.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

namespace {

bool canBeExecuted(const std::string& file) {
    const char* path = getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((std::filesystem::path(folder) / file).c_str(), X_OK) == 0) {  // an absolute path is its own
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" int posix_spawnp(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                            const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    if (!canBeExecuted(file)) {
        return ENOENT;
    }
    static const auto next = reinterpret_cast<decltype(&posix_spawnp)>(dlsym(RTLD_NEXT, "posix_spawnp"));
    return next(child, file, actions, attributes, arguments, environment);
}
