#include "quillet/automation/json_layout.hpp"

namespace kelvor {

JsonLayout detectJsonLayout(std::string_view text) {
    JsonLayout layout;
    layout.finalNewline = text.empty() || text.back() == '\n';
    size_t end = text.find_last_not_of(" \t\r\n");
    std::string_view body = end == std::string_view::npos ? std::string_view{} : text.substr(0, end + 1);
    size_t lineBreak = body.find('\n');
    if (lineBreak == std::string_view::npos) {
        // A new or empty file gets the common two-space layout.
        if (!body.empty()) layout.indentWidth = -1;
        return layout;
    }
    // The first line that starts with white space and holds something else shows one level.
    while (lineBreak != std::string_view::npos) {
        size_t start = lineBreak + 1;
        size_t first = body.find_first_not_of(" \t", start);
        if (first == std::string_view::npos) break;
        if (first > start && body[first] != '\n' && body[first] != '\r') {
            layout.indentChar = body[start];
            layout.indentWidth = static_cast<int>(first - start);
            return layout;
        }
        lineBreak = body.find('\n', start);
    }
    return layout;
}

std::string renderJson(const nlohmann::ordered_json& document, const JsonLayout& layout) {
    std::string text = document.dump(layout.indentWidth, layout.indentChar);
    if (layout.finalNewline) text += '\n';
    return text;
}

}  // namespace kelvor
