#include "config/XPathQuery.h"

#include <optional>
#include <string_view>

namespace steward {
namespace {

bool IsNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 128;
}

bool IsNamePart(char c) {
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool IsNameTest(std::string_view step) {
    if (step == "*") {
        return true;
    }
    if (step.empty() || !IsNameStart(step.front())) {
        return false;
    }
    for (const char c : step) {
        if (!IsNamePart(c)) {
            return false;
        }
    }
    return true;
}

// The steps of "/a/b/*", or nothing when the expression is of another form.
std::optional<std::vector<std::string>> ChildSteps(std::string_view expression) {
    std::vector<std::string> steps;
    while (!expression.empty()) {
        if (expression.front() != '/') {
            return std::nullopt;
        }
        expression.remove_prefix(1);
        const std::string_view step = expression.substr(0, expression.find('/'));
        if (!IsNameTest(step)) {
            return std::nullopt;
        }
        steps.emplace_back(step);
        expression.remove_prefix(step.size());
    }
    return steps;
}

} // namespace

std::vector<TiXmlNode*> SelectNodes(TiXmlElement& base, const std::string& expression) {
    const auto steps = ChildSteps(expression);
    if (!steps || steps->empty() || base.Parent() == nullptr) {
        return {};
    }
    std::vector<TiXmlNode*> nodes{base.Parent()};
    for (const std::string& step : *steps) {
        std::vector<TiXmlNode*> children;
        for (TiXmlNode* const node : nodes) {
            for (auto* child = node->FirstChildElement(); child != nullptr;
                 child = child->NextSiblingElement()) {
                if (step == "*" || step == child->Value()) {
                    children.push_back(child);
                }
            }
        }
        nodes = std::move(children);
    }
    return nodes;
}

} // namespace steward
