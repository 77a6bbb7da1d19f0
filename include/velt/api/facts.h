/* Numbers by their names: value kinds, object types, properties, errors, limits, languages; the
 * version.
 *
 * Types, properties and statuses are those of the reference host, out of the tables in
 * velt/tables/, which say what each means. The library sets its errors itself.
 */
#ifndef VELT_API_FACTS_H
#define VELT_API_FACTS_H

#include "velt/decl.h"
#include "velt/scalars.h"

/* The version of these headers; V_ApiVersion tells the library's. */
#define VELT_VERSION "0.1.0"

/* V_kind_integer, say: what V_TypedValT.valType tells. */
enum {
#define V_KIND(code, name) V_kind_##name = code,
#include "velt/tables/kinds.def"
    V_kind_unset = 0
};

/* V_type_menu, say: types of objects. */
enum {
#define V_OBJECT_TYPE(number, name, meaning) V_type_##name = number,
#include "velt/tables/object_types.def"
    V_type_none = 0
};

/* V_prop_active_book, say: numbers of properties. */
enum {
#define V_PROPERTY(number, kind, object, name, rule, meaning) V_prop_##name = number,
#define V_CALL_PROPERTY(number, kind, name, meaning) V_prop_##name = number,
#define V_ANY_PROPERTY(number, kind, name, meaning) V_prop_##name = number,
#include "velt/tables/properties.def"
    V_prop_by_name = 0
};

/* V_status_no_such_object, say: the reasons for which the host refuses a call. */
enum {
#define V_STATUS(code, name, meaning) V_status_##name = code,
#include "velt/tables/statuses.def"
    V_status_ok = 0
};

/* V_notification_after_open, say: the notifications that the host sends. */
enum {
#define V_NOTIFICATION(code, name, meaning) V_notification_##name = code,
#include "velt/tables/notifications.def"
    V_notification_none = 0
};

/* V_find_text, say: the options of V_ApiFind. */
enum {
#define V_FIND_OPTION(number, name, kind, meaning) V_find_##name = number,
#include "velt/tables/find_options.def"
    V_find_none = 0
};

/* V_select_string, say: bits of the selector of V_ApiGetText and its kin. V_item_string, say: the
 * dataType of the items that the bit selects. */
enum {
#define V_TEXT_ITEM(bit, name, type, meaning) V_select_##name = bit, V_item_##name = type,
#include "velt/tables/text_items.def"
    V_select_nothing = 0
};

/* V_open_revert, say: what the reference host takes among the options of an operation on files, and
 * what the returned lists hold. */
enum {
#define V_HOST_OPTION(operation, number, name, kind, meaning) V_##name = number,
#include "velt/tables/host_options.def"
    V_no_option = 0
};

/* V_file_damaged, say: the bits that V_ApiCheckStatus tests. */
enum {
#define V_FILE_STATUS(bit, name, status, meaning) V_file_##name = bit,
#include "velt/tables/file_statuses.def"
};

/* V_error_no_answer, say: the errors that the library sets itself. */
enum {
#define V_ERROR(code, name, meaning) V_error_##name = code,
#include "velt/tables/errors.def"
    V_error_none = 0
};

/* V_limit_record_in, say: the limits that V_ApiSetLimit sets. */
enum {
#define V_LIMIT(number, name, value, meaning) V_limit_##name = number,
#include "velt/tables/limits.def"
    V_limit_none = 0
};

/* V_language_usenglish, say: what V_prop_language holds; V_LanguageString has the names. */
enum {
#define V_LANGUAGE(number, name, encoding) V_language_##name = number,
#include "velt/tables/languages.def"
    V_language_none = 0
};

/* V_dictionary_read_out, say: operations of V_ApiDictionary. */
enum {
#define V_DICTIONARY(operation, name, meaning) V_dictionary_##name = operation,
#include "velt/tables/dictionary.def"
};

/* V_spelling_unknown_word, say: what V_ApiSpell complains of, and the options that it heeds. */
enum {
#define V_SPELLING_FAULT(number, name, meaning) V_spelling_##name = number,
#define V_SPELLING_OPTION(number, name, meaning) V_spelling_##name = number,
#include "velt/tables/spelling.def"
    V_spelling_right = 0
};

VELT_BEGIN_DECLS

/* One line of text on a value of VA_errno, without a line end; never null. A code that the library
 * and the host both have means what the library says. */
const char *V_ApiErrorText(IntT error);
/* The version of the library, as VELT_VERSION is that of the headers. */
const char *V_ApiVersion(void);

VELT_END_DECLS

#endif
