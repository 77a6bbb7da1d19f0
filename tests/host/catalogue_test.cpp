// Every message of the tables to JSON and back.

#include <gtest/gtest.h>

#include "host/json/writer.h"
#include "host/wire/catalogue.h"

using namespace velt::host;

namespace
{

// Fills a value: every kind and tag of unions, texts and lists of different lengths, optional parts
// present and absent, as the seed goes on.
void fill(const Shape &shape, void *value, unsigned &seed)
{
    const unsigned n = seed++;
    std::size_t count = 0;
    switch (shape.kind) {
    case Shape::number:
        return shape.set(value, n % 3 ? n % 22 : n % 2 ? shape.least : shape.most);
    case Shape::text:
        *static_cast<StringT *>(value) = owned_string(std::string(n % 4, '"'));
        return;
    case Shape::pointer:
    case Shape::list:
        if (n % 5 != 0)
            shape.make(value, shape.kind == Shape::list ? n % 3 : 1);
        if (auto *at = static_cast<char *>(shape.elements(value, count)))
            for (; count > 0; count--, at += shape.element->size)
                fill(*shape.element, at, seed);
        return;
    case Shape::structure:
        return shape.each_field(
            value, [&](const char *, const Shape &of, void *field) { fill(of, field, seed); });
    }
}

std::string encoded(Message &message)
{
    std::string bytes(1 << 16, '\0');
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_ENCODE);
    EXPECT_TRUE(message.routine()(&xdrs, message.address()));
    bytes.resize(xdr_getpos(&xdrs));
    return bytes;
}

} // namespace

TEST(Catalogue, AMessageIsTheSameAfterJson)
{
    unsigned seed = 0;
    for (const auto procedures : {host_procedures(), client_procedures()})
        for (const Procedure &procedure : procedures)
            for (const MessageType *type : {&procedure.argument, &procedure.result})
                for (int round = 0; type->shape && round < 30; round++) {
                    Message message(*type), back(*type);
                    fill(*type->shape, message.address(), seed);
                    JsonWriter writer;
                    write_value(*type->shape, message.address(), writer,
                                [](const char *bytes) { return bytes; });
                    const std::string json = writer.take();
                    JsonNode node;
                    ASSERT_TRUE(parse_json(json, node).empty());
                    std::vector<JsonError> problems;
                    back.from_json(node, problems);
                    ASSERT_TRUE(problems.empty()) << json << problems.front().what();
                    ASSERT_EQ(encoded(back), encoded(message)) << procedure.name << json;
                }
}
