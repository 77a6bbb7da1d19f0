#include "host/scenario/redaction.h"

#include <algorithm>
#include <cctype>

#include "common/error.h"
#include "common/nearest.h"
#include "common/printable.h"
#include "host/scenario/shape_fields.h"
#include "host/values/status.h"
#include "host/wire/catalogue.h"

namespace velt::host
{
namespace
{

bool is_end(std::string_view name, std::string_view path)
{
    return path.ends_with(name) &&
           (path.size() == name.size() || path[path.size() - name.size() - 1] == '.');
}

// Returns whether the name is the end of the path, or the procedure in front of it and that.
bool names(std::string_view name, std::string_view path)
{
    const std::size_t behind = name.find('.') + 1; // 0 when there is none
    return is_end(name, path) || (behind > 0 && path.starts_with(name.substr(0, behind)) &&
                                  is_end(name.substr(behind), path.substr(behind)));
}

// Texts are looked up by so many bytes.
constexpr std::size_t beginning = 2;
// Shorter texts are parts of others by chance.
constexpr std::size_t shortest_part = 4;

// Returns whether both characters belong to one word, if they stand side by side.
bool is_one_word(char one, char other)
{
    const auto in_word = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || (c & 0x80);
    };
    return in_word(one) && in_word(other);
}

// Returns whether such a part of a text is words of it, and not the middle of one.
bool is_of_words(std::string_view text, std::size_t from, std::size_t size)
{
    const std::size_t to = from + size;
    return (from == 0 || !is_one_word(text[from - 1], text[from])) &&
           (to == text.size() || !is_one_word(text[to - 1], text[to]));
}

enum class Use { leave_out, scrub };

bool is_of_use(const Shape &field, Use use)
{
    const Shape *inner = &field;
    while (inner->kind == Shape::list || inner->kind == Shape::pointer)
        inner = inner->element;
    return use == Use::leave_out || inner->kind == Shape::text;
}

// Visits the paths of all fields of which there is such a use.
void each_field(Use use, const std::function<void(const std::string &path)> &visit)
{
    const auto look_at = [&](const Procedure &procedure, const MessageType &type) {
        if (type.shape)
            each_path(*type.shape, std::string(procedure.name),
                      [&](const std::string &path, const Shape &field) {
                          if (is_of_use(field, use))
                              visit(path);
                      });
    };
    for (const Procedure &each : host_procedures()) {
        look_at(each, each.argument);
        if (use == Use::scrub)
            look_at(each, each.result);
    }
    if (use == Use::scrub)
        for (const Procedure &each : client_procedures())
            look_at(each, each.argument);
}

const std::string &field_for(Use use, const std::string &name, const char *refusal)
{
    const bool is_path = name.find('.') != name.npos;
    std::set<std::string> candidates;
    bool found = false;
    each_field(use, [&](const std::string &path) {
        found = found || names(name, path);
        candidates.insert(is_path ? path : path.substr(path.rfind('.') + 1));
    });
    if (found)
        return name;
    Nearest nearest(name);
    for (const std::string &each : candidates)
        nearest.consider(each);
    misuse(refusal + in_quotes(name) + nearest.hint());
}

std::vector<std::string> names_for(Use use)
{
    std::set<std::string> all;
    each_field(use, [&](const std::string &path) {
        all.insert(path.substr(path.rfind('.') + 1));
        all.insert(path);
    });
    return {all.begin(), all.end()};
}

} // namespace

const std::string &field_to_leave_out(const std::string &name)
{
    return field_for(Use::leave_out, name, "nothing that clients call with has a field ");
}

const std::string &field_to_scrub(const std::string &name)
{
    return field_for(Use::scrub, name, "no message has a text ");
}

void offer_names(std::vector<Option> &options)
{
    for (Option &each : options) {
        const std::string_view name = each.name;
        if (name == "leave-out")
            each.values = names_for(Use::leave_out);
        if (name == "scrub")
            each.values = names_for(Use::scrub);
        if (name != "filter")
            continue;
        each.takes_list = true;
        for (const auto among : {host_procedures(), client_procedures()})
            for (const Procedure &procedure : among)
                each.values.emplace_back(procedure.name);
        each.values.emplace_back("failures");
        for (const std::string &status : status_names())
            each.values.push_back("status=" + status);
    }
}

// Passes the parts of a message on, but for what is left out or replaced.
class Redaction::Sieve final : public JsonOut
{
public:
    Sieve(Redaction &redaction, std::string_view procedure, Sender from, JsonOut &out)
        : redaction_(redaction), from_(from), out_(out), path_(procedure)
    {
    }
    void begin(char bracket) override
    {
        if (skips())
            skipped_++;
        else
            out_.begin(bracket);
        ends_.push_back(path_.size());
    }
    void end(char bracket) override
    {
        ends_.pop_back();
        if (skipped_ == 0)
            return out_.end(bracket);
        skipped_--;
        value_is_over();
    }
    void key(std::string_view name) override
    {
        path_.resize(ends_.back());
        path_.append(1, '.').append(name);
        scrubbing_ = find(redaction_.fields_.scrubbed);
        if (skipped_ > 0)
            return;
        const std::string *leaving_out =
            from_ == Sender::client ? find(redaction_.fields_.left_out) : nullptr;
        if (leaving_out)
            redaction_.used_.insert(*leaving_out);
        // What a client sends can be missing: a replay takes anything there.
        skips_next_ = leaving_out || (from_ == Sender::client && scrubbing_);
        if (!skips_next_)
            out_.key(name);
        else if (!leaving_out)
            only_text_ = name;
    }
    void text(std::string_view text) override
    {
        if (scrubbing_)
            redaction_.used_.insert(*scrubbing_);
        const bool is_new = redaction_.texts_ == Texts::new_ones && !text.empty();
        std::string other(text);
        if (is_new && (scrubbing_ || redaction_.known_.contains(text)))
            other = redaction_.stand_in(text);
        else if (is_new && !redaction_.known_.empty() && !skips())
            other = redaction_.replaced_within(text, path_);
        if (!skips())
            out_.text(other);
        value_is_over();
    }
    void number(std::int64_t number) override
    {
        write_late_key();
        if (!skips())
            out_.number(number);
        value_is_over();
    }
    void null() override
    {
        write_late_key();
        if (!skips())
            out_.null();
        value_is_over();
    }

private:
    bool skips() const { return skips_next_ || skipped_ > 0; }
    void value_is_over()
    {
        if (skipped_ > 0)
            return;
        skips_next_ = false;
        only_text_.clear();
    }
    // A field that is to be scrubbed is left out if it is a text; others may have its name.
    void write_late_key()
    {
        if (only_text_.empty() || skipped_ > 0)
            return;
        out_.key(only_text_);
        skips_next_ = false;
    }
    const std::string *find(const Rules &rules) const
    {
        const auto found = std::ranges::find_if(
            rules, [this](const std::string &each) { return names(each, path_); });
        return found == rules.end() ? nullptr : &*found;
    }

    Redaction &redaction_;
    Sender from_;
    JsonOut &out_;
    std::string path_, only_text_;
    std::vector<std::size_t> ends_; // of the paths of the brackets that are open
    bool skips_next_ = false;       // the value of the last key is left out
    const std::string *scrubbing_ = nullptr;
    int skipped_ = 0; // brackets that are open in it
};

void Redaction::write(const Shape &shape, void *message, std::string_view procedure, Sender from,
                      const SessionText &text, JsonOut &out)
{
    const auto to_utf8 = [&text](const char *each) { return text.to_utf8(each); };
    if (empty())
        return write_value(shape, message, out, to_utf8);
    Sieve sieve(*this, procedure, from, out);
    write_value(shape, message, sieve, to_utf8);
}

// A text has the same stand-in wherever it stands, and another one than others have, as far as its
// length permits. It has that length, since there may be places in the text beside it, and the same
// blanks and slashes, so that there are as many words in it, and a path is one.
std::string Redaction::stand_in(std::string_view text)
{
    const auto [known, is_new] = known_.try_emplace(std::string(text), known_.size() + 1);
    if (is_new && text.size() >= beginning)
        beginnings_[std::string(text.substr(0, beginning))].push_back(known->first);
    const std::string digits = std::to_string(known->second);
    auto digit = digits.begin();
    std::string made;
    for (const char c : text)
        if (c == ' ' || c == '/')
            made += c;
        else if ((c & 0xC0) != 0x80) // the first byte of a character
            made += digit == digits.end() ? 'x' : *digit++;
    return made;
}

// Replaces what was scrubbed where it is words of this text. In the middle of a word, or where it
// is short, it may be there by chance, and a text that is no other's stays as it is.
std::string Redaction::replaced_within(std::string_view text, const std::string &path)
{
    std::string made;
    bool remains = false;
    for (std::size_t at = 0; at < text.size();) {
        std::string_view found;
        bool is_there = false;
        if (const auto known = beginnings_.find(text.substr(at, beginning));
            known != beginnings_.end())
            for (const std::string_view each : known->second) {
                if (!text.substr(at).starts_with(each))
                    continue;
                const bool words = is_of_words(text, at, each.size()),
                           is_long = each.size() >= shortest_part;
                is_there |= words || is_long;
                if (words && is_long && each.size() > found.size())
                    found = each;
            }
        remains |= is_there && found.empty();
        made += found.empty() ? std::string(1, text[at]) : stand_in(found);
        at += std::max<std::size_t>(found.size(), 1);
    }
    if (remains)
        remaining_[path]++;
    return made;
}

std::vector<std::string> Redaction::warnings() const
{
    std::vector<std::string> all;
    for (const auto &[option, rules] :
         {std::pair("--leave-out ", &fields_.left_out), {"--scrub ", &fields_.scrubbed}})
        for (const std::string &each : *rules)
            if (!used_.contains(each))
                all.push_back(option + each + " has met nothing in this recording");
    for (const auto &[path, count] : remaining_)
        all.push_back("scrubbed texts remain within " + std::to_string(count) +
                      (count == 1 ? " text of " : " texts of ") + path + "; --scrub " + path +
                      " replaces " + (count == 1 ? "it" : "them"));
    return all;
}

} // namespace velt::host
