#!/usr/bin/env bash
# No declaration is left out of the manual unseen, and nobody else's page is removed.
# shellcheck source=tests/program.sh
. "$(dirname "$0")/../program.sh"

mkdir tree
cp -r "$2/include" tree/
ln -s "$2/apilib" "$2/docs" tree/

# The declaration begins at line 4 of a header that is otherwise complete.
header() { # DECLARATION
    printf '/* A header. */\n\n/* What it says. */\n%b\n' "$1" >tree/include/velt/api/added.h
}

header 'IntT V_Odd(const char *text, IntT count);'
run 0 tree --man pages
[[ -L pages/V_Odd.3 ]] || fail "V_Odd has no page"

for declaration in \
    'unsigned int V_Odd(void);' \
    'IntT V_Odd(IntT (*function)(void));' \
    'IntT V_Odd(const char *);' \
    'IntT V_Odd(IntT n); // more\nIntT V_Even(IntT n);' \
    'IntT V_Odd(IntT n); IntT V_Even(IntT n);' \
    'IntT V_Odd(IntT n)\n\nIntT V_Even(IntT n);' \
    'extern IntT odd, even;' \
    'typedef union Odd { IntT a; } Odd;' \
    'typedef struct Odd { struct { IntT a; } b; } Odd;' \
    'enum Odd { odd = 1 };' \
    'enum { odd = 1 << 3 };' \
    '#define V_ODD(n) ((n) % 2)' \
    '#define V_ODD(n) ((n) % 2)\n#define V_ONE 1' \
    '#define V_ODD(n) \\\\\n    ((n) % 2)'; do
    header "$declaration"
    run 1 tree
    wrote err 'tree/include/velt/api/added.h:4: this would stand on no page: '
done

# What is not known any more has no page; what others wrote stays.
rm tree/include/velt/api/added.h
echo mine >pages/mine.3
ln -s mine.3 pages/yours.3
run 0 tree --man pages
[[ ! -L pages/V_Odd.3 && ! -e pages/velt-added.3 ]] || fail "the page of V_Odd is left"
[[ -e pages/mine.3 && -L pages/yours.3 ]] || fail "pages of others are gone"

finish
