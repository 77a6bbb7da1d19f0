// The named numbers of the tables.

#include "velt/api/facts.h"

#include "tools/vqpages/calls.h"

namespace velt::calls
{
namespace
{

// Only the union of values has tags with names.
std::vector<Facts::Fact> kinds()
{
    std::vector<Facts::Fact> rows = {
#define V_UNION(name, cases) cases
#define V_CASE(tag, type, member) {#tag, tag, #type " u." #member},
#define V_SAME_CASE V_CASE
#define V_CASE_OPTIONAL(tag, type, member) {#tag, tag, #type " *u." #member},
#define V_OTHER_CASES(type, member)
#include "velt/tables/values.def"
    };
    std::erase_if(rows, [](const Facts::Fact &row) { return !row.name.starts_with("V_"); });
    rows.emplace(rows.begin(), "V_kind_unset", V_kind_unset, "no value");
    return rows;
}

} // namespace

std::vector<Facts> facts()
{
    return {
        {"Value kinds, and the members that they select", kinds()},
        {"Object types of the reference host",
         {
             {"V_type_none", V_type_none, "no object"},
#define V_OBJECT_TYPE(number, name, meaning) {"V_type_" #name, number, meaning},
#include "velt/tables/object_types.def"
         }},
        {"Properties that have a meaning",
         {
             {"V_prop_by_name", V_prop_by_name, "the property has a name instead"},
#define V_PROPERTY(number, kind, object, name, rule, meaning)                                      \
    {"V_prop_" #name, number, #kind ", of " #object ": " meaning},
#define V_CALL_PROPERTY(number, kind, name, meaning) {"V_prop_" #name, number, #kind ": " meaning},
#define V_ANY_PROPERTY V_CALL_PROPERTY
#include "velt/tables/properties.def"
         }},
        {"Statuses of the reference host",
         {
             {"V_status_ok", V_status_ok, "the call succeeded"},
#define V_STATUS(code, name, meaning) {"V_status_" #name, code, meaning},
#include "velt/tables/statuses.def"
         }},
        {"Notifications of the reference host",
         {
             {"V_notification_none", V_notification_none, "no notification"},
#define V_NOTIFICATION(code, name, meaning) {"V_notification_" #name, code, meaning},
#include "velt/tables/notifications.def"
         }},
        {"Options of V_ApiFind",
         {
             {"V_find_none", V_find_none, "no option"},
#define V_FIND_OPTION(number, name, kind, meaning) {"V_find_" #name, number, #kind ": " meaning},
#include "velt/tables/find_options.def"
         }},
        {"Items of text: the bits of selectors, and the dataType of the items",
         {
             {"V_select_nothing", V_select_nothing, "no items"},
#define V_TEXT_ITEM(bit, name, type, meaning)                                                      \
    {"V_select_" #name, bit, meaning}, {"V_item_" #name, type, "of such items"},
#include "velt/tables/text_items.def"
         }},
        {"Operations on files: the options that the reference host heeds, and what it returns",
         {
             {"V_no_option", V_no_option, "no option"},
#define V_HOST_OPTION(operation, number, name, kind, meaning)                                      \
    {"V_" #name, number, #kind ", of " #operation ": " meaning},
#include "velt/tables/host_options.def"
         }},
        {"Operations on files: the bits that V_ApiCheckStatus tests",
         {
#define V_FILE_STATUS(bit, name, status, meaning) {"V_file_" #name, bit, meaning},
#include "velt/tables/file_statuses.def"
         }},
        {"Errors of the library",
         {
             {"V_error_none", V_error_none, "no error"},
#define V_ERROR(code, name, meaning) {"V_error_" #name, code, meaning},
#include "velt/tables/errors.def"
         }},
        {"Limits",
         {
             {"V_limit_none", V_limit_none, "no limit"},
#define V_LIMIT(number, name, value, meaning)                                                      \
    {"V_limit_" #name, number, meaning "; " + std::to_string(value) + " unless set"},
#include "velt/tables/limits.def"
         }},
        {"Languages, and their encodings",
         {
             {"V_language_none", V_language_none, "no language"},
#define V_LANGUAGE(number, name, encoding) {"V_language_" #name, number, "VdeEnc" #encoding},
#include "velt/tables/languages.def"
         }},
        {"Operations on a dictionary",
         {
#define V_DICTIONARY(operation, name, meaning) {"V_dictionary_" #name, operation, meaning},
#include "velt/tables/dictionary.def"
         }},
        {"Spelling: what the reference host complains of, and the options that it heeds",
         {
             {"V_spelling_right", V_spelling_right, "the word is right"},
#define V_SPELLING_FAULT(number, name, meaning) {"V_spelling_" #name, number, meaning},
#define V_SPELLING_OPTION(number, name, meaning) {"V_spelling_" #name, number, meaning},
#include "velt/tables/spelling.def"
         }},
    };
}

} // namespace velt::calls
