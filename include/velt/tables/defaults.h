/* A row for which the includer has defined no macro expands to nothing. No include guard: every
 * table includes this file anew. */
#ifndef V_RECORD
#define V_RECORD(name, fields)
#endif
#ifndef V_LIST
#define V_LIST(name, element, plural)
#endif
#ifndef V_UNION
#define V_UNION(name, cases)
#endif
#ifndef V_PROCEDURE
#define V_PROCEDURE(number, stub, argument, result)
#endif
#ifndef V_STUB_ONLY
#define V_STUB_ONLY(number, stub, argument, result) V_PROCEDURE(number, stub, argument, result)
#endif
#ifndef V_CALLBACK
#define V_CALLBACK(number, handler, argument)
#endif
