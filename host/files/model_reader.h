// What the readers of book and document files share. A file is read into nodes that know their
// places, and from these into the model. The reader collects mistakes and goes on, so that all of
// them are reported at once.
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/json/values.h"
#include "host/model/model.h"
#include "host/values/text.h"

namespace velt::host
{

// Its functions throw JsonError for a mistake in the node itself, and add those further inside to
// the problems.
class ModelReader
{
public:
    // The last text says how to choose another language, for a character that this one lacks.
    ModelReader(Model &model, std::vector<JsonError> &problems, const char *other_language)
        : model_(model), problems_(problems), other_language_(other_language)
    {
    }

protected:
    // Returns the text in the session's encoding; as it stands where there is no session.
    std::string text(const JsonNode &node) const;

    // Nothing in a file is ignored: an unknown name is a mistake.
    void need_object(const JsonNode &node, std::initializer_list<std::string_view> names);

    template <class T>
    void decode(T &value, const JsonNode &node)
    {
        read_value(
            shape_of<T>, &value, node, [this](const JsonNode &each) { return text(each); },
            problems_);
    }

    // Visits the members of the node's list of this name, if there is one.
    template <class Visit>
    void each_of(const JsonNode &node, std::string_view name, Visit visit)
    {
        const JsonNode *list = node.member(name);
        if (!list)
            return;
        list->need(JsonNode::array);
        for (const auto &each : list->members)
            attempt(problems_, [&] { visit(each.second); });
    }

    // Reads the node's list "properties" and hands each to `set`, which throws Error to refuse it.
    using Set = std::function<void(const PropertyKey &, V_TypedValT &)>;
    void properties(const JsonNode &node, const Set &set);

    Model &model_;
    std::vector<JsonError> &problems_;
    std::optional<SessionText> session_;

private:
    const char *other_language_;

    void property(const JsonNode &node, const Set &set);
};

} // namespace velt::host
