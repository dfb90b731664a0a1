// The one door to XPath evaluation: TinyXPath where the build finds it, otherwise an evaluator of the
// location paths that the configuration manager issues. Both select the same nodes for those.
#pragma once

#include <tinyxml.h>

#include <string>
#include <vector>

namespace steward {

// The nodes that `expression` (UTF-8) selects with `base` as the base node, in document order. The nodes
// belong to the document. The built-in evaluator knows absolute paths of child steps, each a name or "*"; any
// other expression selects nothing.
std::vector<TiXmlNode*> SelectNodes(TiXmlElement& base, const std::string& expression);

} // namespace steward
