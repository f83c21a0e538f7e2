#include <unistd.h>

#include <fstream>

#include "fuzz_input.h"
#include "orin_vector.h"

// A file is read whole or not at all: after a failure the vector is as it was, after success it can be written and read
// again with the same items.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/vector_file_fuzz." + std::to_string(getpid());
    std::ofstream(path, std::ios::binary) << viewOf(data, size);
    OrinVector vector{};
    require(orin_createVector(&vector) == 0 && orin_addToVector(&vector, "kept", 5) == 0, "a vector with one item");
    if (orin_VectorFromFile(&vector, path.c_str()) != 0) {
        require(vector.count == 1 && orin_VectorFindString(&vector, "kept") == 0, "a refused file changes nothing");
    } else {
        const uint32_t count = vector.count;
        require(orin_VectorToFile(&vector, path.c_str()) == 0, "what was read can be written");
        require(orin_VectorFromFile(&vector, path.c_str()) == 0 && vector.count == count, "and read again");
    }
    orin_destroyVector(&vector);
    unlink(path.c_str());
    return 0;
}
