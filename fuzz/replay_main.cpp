// Replays every file of a corpus folder through the fuzz target, so the corpus runs as a plain
// test under the sanitizers of the test build.
#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    DIR *d = opendir(argv[1]);
    if (!d) {
        perror(argv[1]);
        return 1;
    }
    int count = 0;
    while (dirent *e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        std::ifstream in(std::string(argv[1]) + "/" + e->d_name, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
        ++count;
    }
    closedir(d);
    printf("replayed %d inputs\n", count);
    return count > 0 ? 0 : 1;
}
