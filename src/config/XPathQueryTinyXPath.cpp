// Stands in for XPathQuery.cpp in builds that find TinyXPath.
#include "config/XPathQuery.h"

#include <xpath_processor.h>

namespace steward {

std::vector<TiXmlNode*> SelectNodes(TiXmlElement& base, const std::string& expression) {
    try {
        TinyXPath::xpath_processor processor(&base, expression.c_str());
        std::vector<TiXmlNode*> nodes(processor.u_compute_xpath_node_set());
        for (unsigned i = 0; i < nodes.size(); ++i) {
            nodes[i] = processor.XNp_get_xpath_node(i);
        }
        return nodes;
    } catch (...) { // how the library refuses an expression
        return {};
    }
}

} // namespace steward
