#pragma once
// The AI assistants whose settings are a JSON file Kelvor can add its server to.
#include <string>
#include <vector>

namespace kelvor {

struct JSONClient {
    std::string name;  // display name
    std::string dir;   // the folder whose existence means the assistant is installed
    std::string file;  // the settings file
    std::string key;   // the top-level object that holds the server entries
};

// The assistants in the order they are connected: the four desktop editors and apps, then the
// command-line assistants that keep a JSON settings file. `configDir` is where desktop
// applications keep settings (applicationConfigDir()).
std::vector<JSONClient> jsonClients(const std::string& home, const std::string& configDir);

}  // namespace kelvor
