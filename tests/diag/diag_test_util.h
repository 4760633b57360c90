// Helpers shared by the debug-log tests: control files and directory order.
#pragma once

#include <dirent.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace diagtest {

inline const std::string kControlDir = "/conf/quorix_debug/";
inline const std::string kReloadMarker = "/var/quorix_debug_reload";

inline void touchControl(std::initializer_list<std::string> names) {
    for (const auto &name : names) qtest::writeFile(kControlDir + name, "");
}

// Module names of the ENABLE_ files in the order readdir yields them.
inline std::vector<std::string> enabledInDirectoryOrder() {
    std::vector<std::string> names;
    DIR *dir = opendir(kControlDir.c_str());
    if (dir == nullptr) return names;
    while (const dirent *entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.rfind("ENABLE_", 0) == 0) names.push_back(name.substr(7));
    }
    closedir(dir);
    return names;
}

}  // namespace diagtest
