#include "fs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace nashal::sim {
namespace {

std::string parent_of(const std::string &path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

std::vector<std::string> components(const std::string &path) {
    std::vector<std::string> out;
    size_t i = 0;
    while (i < path.size()) {
        size_t j = path.find('/', i);
        if (j == std::string::npos)
            j = path.size();
        if (j > i)
            out.push_back(path.substr(i, j - i));
        i = j + 1;
    }
    return out;
}

bool write_with_flags(const std::string &path, const std::string &content, int flags,
                      unsigned mode) {
    make_dirs(parent_of(path));
    int fd = ::open(path.c_str(), flags | O_WRONLY | O_CLOEXEC, mode);
    if (fd < 0)
        return false;
    bool ok = write_all(fd, content);
    ::close(fd);
    return ok;
}

}  // namespace

bool write_all(int fd, const std::string &content) {
    size_t done = 0;
    while (done < content.size()) {
        ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool read_all(int fd, std::string &out, size_t limit) {
    char buf[65536];
    while (out.size() <= limit) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            break;
        out.append(buf, static_cast<size_t>(n));
    }
    return true;
}

bool make_dirs(const std::string &path, unsigned mode) {
    std::string sofar = path.size() && path[0] == '/' ? "" : ".";
    for (const auto &c : components(path)) {
        sofar += "/" + c;
        if (::mkdir(sofar.c_str(), mode) != 0 && errno != EEXIST)
            return false;
    }
    return true;
}

bool write_file(const std::string &path, const std::string &content, unsigned mode) {
    return write_with_flags(path, content, O_CREAT | O_TRUNC, mode);
}

bool append_file(const std::string &path, const std::string &content) {
    return write_with_flags(path, content, O_CREAT | O_APPEND, 0644);
}

std::string read_file(const std::string &path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    std::string out;
    read_all(fd, out);
    ::close(fd);
    return out;
}

bool exists(const std::string &path) {
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

bool symlink_relative(const std::string &target, const std::string &link) {
    auto from = components(parent_of(link));
    auto to = components(target);
    size_t common = 0;
    while (common < from.size() && common < to.size() && from[common] == to[common])
        ++common;
    std::string rel;
    for (size_t i = common; i < from.size(); ++i)
        rel += "../";
    for (size_t i = common; i < to.size(); ++i)
        rel += to[i] + (i + 1 < to.size() ? "/" : "");
    if (rel.empty())
        rel = ".";
    return symlink_exact(rel, link);
}

bool symlink_exact(const std::string &target, const std::string &link) {
    make_dirs(parent_of(link));
    ::unlink(link.c_str());
    return ::symlink(target.c_str(), link.c_str()) == 0;
}

void remove_tree(const std::string &path) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return;
    if (S_ISDIR(st.st_mode)) {
        for (const auto &name : list_dir(path))
            remove_tree(path + "/" + name);
        ::rmdir(path.c_str());
    } else {
        ::unlink(path.c_str());
    }
}

std::vector<std::string> list_dir(const std::string &path) {
    std::vector<std::string> out;
    DIR *d = ::opendir(path.c_str());
    if (!d)
        return out;
    while (struct dirent *e = ::readdir(d)) {
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0)
            continue;
        out.emplace_back(e->d_name);
    }
    ::closedir(d);
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<std::string> read_lines(const std::string &path) {
    std::vector<std::string> lines;
    std::string all = read_file(path);
    size_t i = 0;
    while (i < all.size()) {
        size_t j = all.find('\n', i);
        if (j == std::string::npos)
            j = all.size();
        lines.push_back(all.substr(i, j - i));
        i = j + 1;
    }
    return lines;
}

std::vector<DescriptionEntry> read_description(const std::string &path, size_t min_words) {
    std::vector<DescriptionEntry> entries;
    for (const std::string &line : read_lines(path)) {
        std::istringstream in(line);
        DescriptionEntry words;
        for (std::string word; in >> word && word[0] != '#';)
            words.push_back(word);
        if (!words.empty() && words.size() >= min_words)
            entries.push_back(std::move(words));
    }
    return entries;
}

std::map<std::string, std::string> text_settings(const std::string &text) {
    std::map<std::string, std::string> settings;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        const size_t space = line.find(' ');
        if (line.empty() || line[0] == '#' || space == std::string::npos)
            continue;
        settings[line.substr(0, space)] = line.substr(space + 1);
    }
    return settings;
}

unsigned long hex_word(const std::string &word) {
    return std::strtoul(word.c_str(), nullptr, 16);
}

}  // namespace nashal::sim
