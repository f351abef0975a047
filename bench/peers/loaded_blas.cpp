#include "loaded_blas.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string_view>

namespace qormath::peers {

namespace {

/// The names of the files of a BLAS or a LAPACK in a text, without LAPACK's C interface, which only passes on.
std::set<std::string> blasFilesIn(const std::string& text) {
    static const std::regex name("/\\S*/lib[a-z]*(blas|lapack)[^/\\s]*\\.so[^/\\s]*");
    std::set<std::string> files;
    for (std::sregex_iterator found(text.begin(), text.end(), name), none; found != none; ++found) {
        if (found->str().find("lapacke") == std::string::npos) {
            files.insert(found->str());
        }
    }
    return files;
}

std::set<std::string> ownFiles() {
    std::ifstream maps("/proc/self/maps");
    std::ostringstream text;
    text << maps.rdbuf();
    return blasFilesIn(text.str());
}

/// The BLAS proper is the file that all calls end in: the others hand on to it.
std::set<std::string> coreFiles(const std::set<std::string>& files) {
    std::set<std::string> core;
    std::copy_if(files.begin(), files.end(), std::inserter(core, core.end()),
                 [](const std::string& file) { return file.find("openblasp") != std::string::npos; });
    return core.empty() ? files : core;
}

}  // namespace

bool measuresProcessorTime() {
    const char* threads = std::getenv("OPENBLAS_NUM_THREADS");
    return threads != nullptr && std::string_view(threads) == "1";
}

std::string describeOwnBlas() {
    std::ostringstream text;
    if (void* symbol = dlsym(RTLD_DEFAULT, "openblas_get_config"); symbol != nullptr) {
        text << reinterpret_cast<char* (*)()>(symbol)() << ", ";
    }
    if (void* symbol = dlsym(RTLD_DEFAULT, "openblas_get_num_threads"); symbol != nullptr) {
        text << reinterpret_cast<int (*)()>(symbol)() << " threads; ";
    }
    text << "loaded:";
    for (const std::string& file : ownFiles()) {
        text << ' ' << file;
    }
    return text.str();
}

void warnOfAnotherBlas(const char* name, const std::string& text) {
    if (coreFiles(blasFilesIn(text)) != coreFiles(ownFiles())) {
        std::printf(
            "WARNING: %s has loaded another BLAS than this program; its ratios compare libraries of both kinds\n",
            name);
    }
}

}  // namespace qormath::peers
