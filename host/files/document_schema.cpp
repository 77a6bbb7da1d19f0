#include <limits>

#include "host/files/document.h"
#include "host/files/parts.h"
#include "host/files/schema.h"

namespace velt::host
{

std::string document_schema()
{
    using namespace schema;
    const Json properties = list(reference("property"));
    const Json offset = number(0, std::numeric_limits<IntT>::max());
    const Json id = number(1, std::numeric_limits<UIntT>::max());
    const auto filled = [](const char *part) {
        Json entries = list(reference(part));
        entries["minItems"] = 1;
        return entries;
    };
    const Json document = object({{"format", number(1, document_format)},
                                  {"id", id},
                                  {"properties", properties},
                                  {"flows", filled("flow")},
                                  {"objects", list(reference("object"))}},
                                 {"flows"});
    const Json flow = object({{"id", id},
                              {"name", text()},
                              {"properties", properties},
                              {"paragraphs", filled("paragraph")}},
                             {"paragraphs"});
    const Json paragraph = object({{"id", id},
                                   {"name", text()},
                                   {"tag", text()},
                                   {"text", text()},
                                   {"properties", properties},
                                   {"formats", list(reference("format"))},
                                   {"anchors", list(reference("anchor"))}},
                                  Json::array());
    const Json format =
        object({{"from", offset}, {"to", offset}, {"properties", properties}}, {"from", "to"});
    const Json anchor = object({{"offset", offset}, {"object", id}}, {"offset", "object"});
    const Json part = object({{"id", id},
                              {"type", number(1, std::numeric_limits<IntT>::max())},
                              {"name", text()},
                              {"in", id},
                              {"properties", properties}},
                             {"type"});
    return whole("A document of vqhost", document,
                 {{"flow", flow},
                  {"paragraph", paragraph},
                  {"format", format},
                  {"anchor", anchor},
                  {"object", part}});
}

} // namespace velt::host
