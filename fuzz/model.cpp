// Fuzzes the host's answers: whatever a client calls with whatever arguments, what the model holds
// fits together, a call that is refused changes nothing, and documents and books come back from
// their files as they were.

#include "fuzz/survey.h"
#include "host/answers/responder.h"
#include "host/files/book.h"
#include "host/files/document.h"
#include "host/values/owned.h"
#include "host/values/shape.h"

// The callbacks that every client defines; none is called.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

namespace velt::host
{
namespace
{

// The input names a procedure by what its number has above this one.
constexpr rpcproc_t first_number = 1000;
// A model whose survey is as long grows no more, since text that is pasted doubles each time.
constexpr std::size_t enough = 200'000;

constexpr std::string_view left_out[] = {
    // They read and write any file.
    "api_vq_open_1", "api_vq_save_1", "api_vq_import_1", "api_vq_export_1",
    // They run programs, or wait.
    "api_vq_system_shell_1", "api_vq_fork_and_exec_1", "api_vq_sleep_1", "api_vq_usleep_1",
    // It has the event loop call the client.
    "api_vq_modal_dialog_1"};

// Of properties; 0 is for those with names.
constexpr IntT numbers[] = {
    0,
#define V_PROPERTY(number, kind, object, name, rule, meaning) number,
#define V_ANY_PROPERTY(number, kind, name, meaning) number,
#include "velt/tables/properties.def"
};

struct Nobody : Console, Responder {
    Reply ask(const Question &) override { return {}; }
    void report(const std::string &) override {}
    Reaction respond(Call &) override { return Reaction::drop; }
    void client_exited(int) override {}
};

Host &host()
{
    static Nobody nobody;
    static Host made({}, nobody, nobody);
    return made;
}

// Fills an argument from the input: with what the model has, so that most calls are carried out,
// and with what is just beside it.
class Filler
{
public:
    Filler(Input &input, const Model &model, const std::vector<UIntT> &ids)
        : input_(input), model_(model), ids_(ids)
    {
    }

    void fill(const Shape &shape, void *value, std::string_view name = {})
    {
        std::size_t count = 0;
        if (&shape == &shape_of<V_TextLocT>) {
            *static_cast<V_TextLocT *>(value) = place();
        } else if (&shape == &shape_of<UIntT>) {
            *static_cast<UIntT *>(value) = id(name);
        } else if (shape.kind == Shape::number) {
            shape.set(value, number(name));
        } else if (shape.kind == Shape::text) {
            *static_cast<StringT *>(value) = owned_string(text());
        } else if (shape.kind == Shape::structure) {
            shape.each_field(value, [&](const char *field, const Shape &of, void *part) {
                fill(of, part, field);
            });
        } else if (const unsigned wanted = input_.byte() & 3;
                   wanted != 0 || shape.kind == Shape::list) {
            shape.make(value, wanted);
            auto *element = static_cast<std::byte *>(shape.elements(value, count));
            for (; count > 0; count--, element += shape.element->size)
                fill(*shape.element, element);
        }
    }

private:
    std::string text()
    {
        std::string bytes(input_.take(input_.byte() & 15));
        std::ranges::replace(bytes, '\0', '\n');
        return bytes;
    }
    UIntT id(std::string_view name)
    {
        if (name == "newVal")
            return one_of([](const Object &) { return true; });
        if (name != "docId")
            return one_of([this](const Object &each) { return each.document == document_; });
        return document_ = one_of([](const Object &each) {
                   return each.type == object_type::session || each.type == object_type::document ||
                          each.type == object_type::book;
               });
    }
    template <class Wanted>
    UIntT one_of(Wanted wanted)
    {
        std::vector<UIntT> known;
        std::ranges::copy_if(ids_, std::back_inserter(known),
                             [&](UIntT each) { return wanted(model_.at(each)); });
        const std::uint8_t choice = input_.byte();
        if (choice < 0xF0 && !known.empty())
            return known[choice % known.size()];
        return choice == 0xFF ? ~UIntT{0} : UIntT{1} << (choice & 7);
    }
    IntT number(std::string_view name)
    {
        const std::uint8_t choice = input_.byte();
        if (name == "num")
            return choice < std::size(numbers) ? numbers[choice] : choice;
        return choice < 0xF0 ? choice : input_.number() * 0x10000;
    }
    V_TextLocT place()
    {
        const UIntT paragraph = one_of([this](const Object &each) {
            return each.document == document_ && each.type == object_type::paragraph;
        });
        const bool exists = std::ranges::binary_search(ids_, paragraph);
        const IntT count = exists ? model_.characters().count(model_.at(paragraph).text) : 0;
        return {paragraph, input_.byte() % (count + 3) - 1};
    }

    Input &input_;
    const Model &model_;
    const std::vector<UIntT> &ids_;
    UIntT document_ = 0;
};

// Returns the document's text and items, without their ids.
std::string items(const Model &model, UIntT document)
{
    std::string all;
    for (const TextItem &each : model.text_items(document, document, ~UIntT{0})) {
        all += std::to_string(each.offset) + ':' + std::to_string(each.type) + '=';
        if (each.type == text_item::properties_change)
            all += std::to_string(each.value);
        all += std::string(each.text) + '\n';
    }
    return all;
}

void check_document_file(const Model &model, UIntT document, UIntT last)
{
    const std::string text = write_document(model, document);
    Model other;
    other.set_language(model.language());
    // An id of something outside the document must not be that of something else here.
    while (other.create(0, object_type::dialog, "") < std::max<UIntT>(last, 128)) {
    }
    const UIntT copy = other.create_document("");
    read_document(text, "document", other, copy);
    require(write_document(other, copy) == text, "a document that is read is written as it was");
    require(items(other, copy) == items(model, document), "a document is read as it was");
    Survey survey(other);
}

void check_files(const Model &model, const std::vector<UIntT> &ids)
try {
    for (const UIntT each : ids) {
        if (model.at(each).type == object_type::document)
            check_document_file(model, each, ids.back());
        if (model.at(each).type != object_type::book)
            continue;
        const std::string text = write_book(model, each);
        Model other;
        const UIntT copy = read_book(text, "book", other);
        require(write_book(other, copy) == text, "a book that is read is written as it was");
    }
} catch (const Error &error) {
    require(false, error.what());
}

} // namespace
} // namespace velt::host

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace velt::host;
    Input input(data, size);
    Model model;
    model.set_language(V_language_svenska + input.byte() % 5); // and those with double bytes
    Documents documents(model);
    documents.create();
    model.activate(model.create(0, object_type::book, "book"));
    Client client;
    ModelResponder responder({model, documents});

    std::vector<UIntT> ids;
    const auto survey = [&] {
        Survey made(model);
        ids = std::move(made.ids);
        std::ranges::sort(ids);
        return std::move(made.text);
    };
    std::string before = survey();
    for (int calls = 1; !input.empty() && before.size() < enough; calls++) {
        const rpcproc_t number = first_number + (static_cast<unsigned>(input.number()) & 0x1FF);
        const Procedure *called = find_procedure(host_procedures(), number);
        if (!called || std::ranges::count(left_out, called->name) != 0)
            continue;
        Message argument(called->argument), result(called->result);
        Filler filler(input, model, ids);
        if (called->argument.shape)
            filler.fill(*called->argument.shape, argument.address());
        Call call{host(), client, *called, argument.address(), result.address()};
        responder.respond(call);
        require(!called->result.shape || xdr_sizeof(result.routine(), result.address()) != 0,
                "a result can be sent");
        std::string after = survey();
        const IntT *status = called->result.status(result.address());
        const bool refused = status && *status < 0;
        require(!refused || after == before, "a call that is refused changes nothing");
        before = std::move(after);
        if (calls % 16 == 0)
            check_files(model, ids);
    }
    check_files(model, ids);
    return 0;
}
