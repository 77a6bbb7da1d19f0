#include "host/files/book.h"
#include "host/files/schema.h"
#include "host/values/kinds.h"
#include "velt/vde/language.h"

namespace velt::host
{

std::string book_schema()
{
    using namespace schema;
    Json languages = Json::array(), encodings = {""};
#define V_LANGUAGE(number, name, encoding) languages.push_back(#name);
#include "velt/tables/languages.def"
    for (const char *each : dialog_encodings)
        encodings.push_back(each);
    const Json properties = list(reference("property"));
    const Json book = object(
        {{"title", text()},
         {"language", {{"enum", languages}, {"default", V_LanguageString(V_language_usenglish)}}},
         {"dialogEncoding", {{"enum", encodings}}},
         {"selected", {{"type", {"string", "integer"}}}},
         {"properties", properties},
         {"components", list(reference("component"))}},
        {"title", "components"});
    const Json component =
        object({{"name", text()}, {"file", text()}, {"properties", properties}}, {"name"});
    return whole("A book of vqhost", book, {{"component", component}});
}

} // namespace velt::host
