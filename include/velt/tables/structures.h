/* Defines the rows of a table as C structures. No include guard: include it before each table. */
#define V_RECORD(name, fields)                                                                     \
    typedef struct name {                                                                          \
        fields                                                                                     \
    } name;
#define V_FIELD(type, name) type name;
#define V_FIELD_IF_ZERO(key, type, name) type name;
#define V_OPTIONAL(type, name) type *name;
#define V_SWITCH(type, name, tag) type name;
#define V_LIST(name, element, plural)                                                              \
    typedef struct name {                                                                          \
        UIntT len;                                                                                 \
        element *val;                                                                              \
    } name;
#define V_UNION(name, cases)                                                                       \
    typedef union name {                                                                           \
        cases                                                                                      \
    } name;
#define V_CASE(tag, type, member) type member;
#define V_CASE_OPTIONAL(tag, type, member) type *member;
#define V_SAME_CASE(tag, type, member)
#define V_OTHER_CASES(type, member) type member;
