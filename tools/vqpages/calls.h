// The public calls and the routines of the support library, gathered from the headers that declare
// them; of the calls also what the tables tell of their messages, and the sources of the call
// layer, which connect the two.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velt::calls
{

struct Procedure {
    int number;
    std::string stub;
    std::string argument; // the structure with its fields in wire order
    std::string result;
    bool has_call;
    bool is_modelled; // by the reference host
    std::vector<std::string> users;
};

struct Parameter {
    std::string type; // the part before the name, such as `const char *`
    std::string name;
};

struct Call {
    std::string name;
    std::string type; // of the result, or of a variable
    std::vector<Parameter> parameters;
    bool is_function;
    std::string extent; // of a variable that is an array, with its brackets
    std::string note;   // applies to this call and those after it
    std::string remark; // behind it on its line
    std::string comment;
    // From the sources: the stub that the call uses, and what it returns for each outcome if its
    // shape determines that; otherwise the comment says so.
    std::string stub;
    std::string answered, refused, unanswered;
    std::string release; // what releases the result
};

// A structure, union, list, scalar or type of a function that calls take or return.
struct Structure {
    std::string name;
    std::string fields; // empty for what has none
    std::string comment;
};

// The named numbers of one kind.
struct Facts {
    struct Fact {
        std::string name;
        std::string number; // as the header or the table has it
        std::string meaning;

        Fact(std::string named, int value, std::string means)
            : Fact(std::move(named), std::to_string(value), std::move(means))
        {
        }
        Fact(std::string named, std::string value, std::string means)
            : name(std::move(named)), number(std::move(value)), meaning(std::move(means))
        {
        }
    };
    std::string about;
    std::vector<Fact> rows;
};

std::vector<Facts> facts();

// The calls of one header.
struct Family {
    bool is_api; // of the client library, not of the support library
    std::string name;
    std::string about;  // one phrase on the family
    std::string common; // text that applies to all of its calls
    std::vector<Structure> structures;
    std::vector<Call> calls;
    std::vector<Facts> numbers;
};

struct Interface {
    std::vector<Family> families;
    std::vector<Procedure> procedures;
    // Pages that are written by hand, by their files' names, and the functions that are in them.
    std::map<std::string, std::string> pages, functions;

    const Procedure &procedure(const std::string &stub) const;
};

// Reads a source tree. Throws when a procedure that should have a call has none.
Interface read_interface(const std::filesystem::path &root);

// The declaration in C, without the semicolon.
std::string signature(const Call &call);

// The rows V_CALL_OF(stub, "name", "declaration") of the functions that use a procedure, in the
// order of these; the declaration is empty for one that is not public.
std::string table(const Interface &interface);

std::string markdown(const Interface &interface);

// The files of section 3 by their names: a page for each family, and an alias of that page for each
// call.
std::map<std::string, std::string> man_pages(const Interface &interface);
std::map<std::string, std::string> man_aliases(const Interface &interface);

} // namespace velt::calls
