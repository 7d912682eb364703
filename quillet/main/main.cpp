#include <string>
#include <vector>

#include "quillet/main/entry.hpp"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    return kelvor::runKelvor(args, argc > 0 ? argv[0] : "");
}
