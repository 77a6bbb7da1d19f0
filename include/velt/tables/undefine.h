/* Ends a table: its macros are free for the next use. No include guard. */
#ifndef V_KEEP_MACROS
#undef V_RECORD
#undef V_FIELD
#undef V_FIELD_IF_ZERO
#undef V_OPTIONAL
#undef V_SWITCH
#undef V_LIST
#undef V_UNION
#undef V_CASE
#undef V_CASE_OPTIONAL
#undef V_SAME_CASE
#undef V_OTHER_CASES
#undef V_PROCEDURE
#undef V_STUB_ONLY
#undef V_CALLBACK
#endif
