#include "sim/sas_disk_model.h"

#include <sstream>

#include "sim/fs.h"

namespace nashal::sim {

namespace {

std::string path(const std::string &root, const std::string &node, const std::string &file) {
    return root + "/sim/sas/" + node + "/" + file;
}

}  // namespace

bool set_sas_disk_value(const std::string &root, const std::string &node, const std::string &key,
                        const std::string &value) {
    std::istringstream in(read_file(path(root, node, "state")));
    std::string line, out;
    while (std::getline(in, line))
        if (line.rfind(key + " ", 0) != 0)
            out += line + "\n";
    return write_file(path(root, node, "state"), out + key + " " + value + "\n");
}

bool set_sas_disk_file(const std::string &root, const std::string &node, const std::string &file,
                       const std::string &content) {
    return write_file(path(root, node, file), content);
}

std::string sas_disk_file(const std::string &root, const std::string &node,
                          const std::string &file) {
    return read_file(path(root, node, file));
}

}  // namespace nashal::sim
