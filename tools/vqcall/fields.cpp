#include "tools/vqcall/fields.h"

#include <algorithm>
#include <map>
#include <optional>

#include "common/charset.h"
#include "common/nearest.h"
#include "common/printable.h"
#include "common/words.h"
#include "host/json/node.h"
#include "host/json/writer.h"
#include "tools/layout/layout.h"

namespace velt::call
{
namespace
{

constexpr std::string_view text_type = "StringT";

// The values that a word gives to some of the fields below a place.
struct Given {
    std::optional<std::string> json; // of all of it
    std::map<std::string, Given> parts;

    std::string text() const
    {
        if (json)
            return *json;
        std::string all;
        for (const auto &[name, part] : parts)
            all += (all.empty() ? "" : ",") + std::string("\"") + name + "\":" + part.text();
        return '{' + all + '}';
    }
};

std::string as_json(std::string_view text)
{
    host::JsonWriter writer(host::JsonWriter::one_line);
    writer.text(text);
    return writer.take();
}

// Returns the value of the type as JSON; `place` is what messages name.
std::string value_json(std::string_view type, const std::string &value, const std::string &place)
{
    const bool of_parts = find_structure(type) || find_list(type);
    try {
        from_utf8(value);
        if (of_parts) {
            host::JsonNode node;
            host::parse_json(value, node);
            return value;
        }
    } catch (const host::JsonError &error) {
        misuse(place + " is " + std::string(type) + " and takes JSON, such as " + example(type) +
               "; at character " + std::to_string(error.column) + ": " + error.what());
    } catch (const std::runtime_error &) {
        misuse(place + ": the text is not UTF-8");
    }
    // A text that is no number is refused when it is read, in the same words as in JSON.
    return type == text_type || !is_whole_number(value) || value[0] == '+' ? as_json(value) : value;
}

// Returns the names of fields, those first that are nearest to a name that none of them has.
std::string names_by_nearness(const std::vector<Field> &fields, std::string_view wanted)
{
    std::vector<std::string> names;
    for (const Field &each : fields)
        names.push_back(each.name);
    std::ranges::stable_sort(names, {},
                             [&](const std::string &name) { return edit_distance(wanted, name); });
    return joined(names);
}

// Returns the field of the type. `path` is what leads to the type.
Field find_field(std::string_view type, std::string_view name, const std::string &path)
{
    const std::vector<Field> fields = fields_of(type);
    const std::string of(type);
    if (fields.empty())
        misuse(path + " is " + of + ", which has no fields" +
               (find_list(type) ? "; it takes JSON, such as " + example(type) : ""));
    const auto found = std::ranges::find(fields, name, &Field::name);
    if (found == fields.end())
        misuse((path.empty() ? "" : path + ": ") + "there is no field " + in_quotes(name) + " in " +
               of + "; it has " + names_by_nearness(fields, name));
    return *found;
}

void give(Given &root, std::string_view type, const std::string &word)
{
    const auto sign = word.find('=');
    if (sign == word.npos)
        misuse(in_quotes(word) + " is not FIELD=VALUE; " + std::string(type) + " has the fields " +
               names_by_nearness(fields_of(type), word));
    Given *at = &root;
    std::string path, of(type);
    for (std::string_view rest = std::string_view(word).substr(0, sign);;) {
        const auto dot = std::min(rest.find('.'), rest.size());
        const Field field = find_field(of, rest.substr(0, dot), path);
        path += (path.empty() ? "" : ".") + field.name;
        of = field.type;
        at = &at->parts[field.name];
        if (at->json)
            misuse(path + " is given twice");
        if (dot == rest.size())
            break;
        rest.remove_prefix(dot + 1);
    }
    if (!at->parts.empty())
        misuse(path + " is given twice");
    at->json = value_json(of, word.substr(sign + 1), path);
}

std::string for_shell(const std::string &word)
{
    return word.find_first_of("[]{}\" ") == word.npos ? word : "'" + word + "'";
}

void add_example_words(std::string_view type, const std::string &path,
                       std::vector<std::string> &words)
{
    for (const Field &each : fields_of(type)) {
        if (!each.when.empty())
            continue;
        const std::string place = path + each.name;
        if (find_structure(each.type))
            add_example_words(each.type, place + ".", words);
        else
            words.push_back(
                for_shell(place + "=" + (each.type == text_type ? "text" : example(each.type))));
    }
}

} // namespace

std::vector<Field> fields_of(std::string_view type)
{
    std::vector<Field> fields;
    const StructureRow *structure = find_structure(type);
    if (!structure)
        return fields;
    for (const FieldRow &row : structure->fields) {
        const std::string name(row.name), of(row.type), key(row.key);
        if (row.kind != FieldRow::by_tag) {
            fields.push_back({name, of, row.kind == FieldRow::if_zero ? key + " is 0" : ""});
            continue;
        }
        for (const FieldRow &each : find_structure(of)->fields) {
            const std::string number = std::to_string(each.tag), tag(each.key);
            const std::string is = key + " is " + number + (tag == number ? "" : " (" + tag + ")");
            fields.push_back({std::string(each.name),
                              std::string(each.type.substr(0, each.type.find(' '))),
                              each.kind == FieldRow::for_tag ? is : key + " is any other"});
        }
    }
    return fields;
}

std::string kind_of(std::string_view type)
{
    const ListRow *list = find_list(type);
    return list ? "list of " + std::string(list->element) : "";
}

std::string example(std::string_view type)
{
    if (const ListRow *list = find_list(type))
        return "[" + example(list->element) + "]";
    if (type == text_type)
        return as_json("text");
    if (!find_structure(type))
        return "0";
    std::string all;
    for (const Field &each : fields_of(type))
        if (each.when.empty())
            all += (all.empty() ? "" : ",") + as_json(each.name) + ":" + example(each.type);
    return '{' + all + '}';
}

std::vector<std::string> example_words(std::string_view type)
{
    std::vector<std::string> words;
    if (find_structure(type))
        add_example_words(type, "", words);
    else if (type != "void")
        words.push_back(for_shell(type == text_type ? "text" : example(type)));
    return words;
}

std::string json_of(std::string_view type, const std::vector<std::string> &words)
{
    if (find_structure(type)) {
        Given given;
        for (const std::string &word : words)
            give(given, type, word);
        return given.text();
    }
    if (type == "void" || words.size() != 1)
        misuse(type == "void" ? "the procedure takes no argument"
                              : "the argument is one value of type " + std::string(type));
    const auto sign = words[0].find('=');
    if (type != text_type && !find_list(type) && sign != std::string::npos)
        misuse(in_quotes(words[0]) + ": the argument is " + std::string(type) +
               ", which has no fields: give the value alone, as in " + words[0].substr(sign + 1));
    return value_json(type, words[0], "the argument");
}

std::vector<std::string> field_paths(std::string_view type)
{
    std::vector<std::string> paths;
    for (const Field &each : fields_of(type))
        if (find_structure(each.type))
            for (const std::string &rest : field_paths(each.type))
                paths.push_back(each.name + "." + rest);
        else
            paths.push_back(each.name + "=");
    return paths;
}

} // namespace velt::call
