#include <fstream>
#include <sstream>

#include "quillet/platform/mount_table.hpp"

namespace kelvor {

namespace {

// mountinfo writes space, tab, newline and backslash in a path as "\ooo" octal escapes.
std::string unescaped(const std::string& field) {
    std::string out;
    for (size_t i = 0; i < field.size(); ++i) {
        bool octal = field[i] == '\\' && i + 3 < field.size();
        for (size_t k = 1; octal && k <= 3; ++k) octal = field[i + k] >= '0' && field[i + k] <= '7';
        if (octal) {
            out += static_cast<char>(std::stoi(field.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

}  // namespace

std::set<std::string> mountPoints() {
    std::set<std::string> points;
    std::ifstream table("/proc/self/mountinfo");
    std::string line;
    // "36 35 98:0 /mnt1 /mnt/parent rw,noatime master:1 - ext3 /dev/root rw": the fifth field.
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string id, parent, device, root, point;
        if (fields >> id >> parent >> device >> root >> point) points.insert(unescaped(point));
    }
    return points;
}

}  // namespace kelvor
