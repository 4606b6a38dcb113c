# shellcheck shell=bash
# What a program or library lacks of cmake/ZelHardening.cmake, read from the file itself.

# One line per fault; nothing when there is none. "fortified": it must call checked functions of the C library.
hardening_faults() { # file [fortified]
    case $(head -c 4 -- "$1" | od -An -tx1 | tr -d ' \n') in
        7f454c46) elf_faults "$@" ;;
        4d5a*) pe_faults "$@" ;;
        *) echo "neither ELF nor PE" ;;
    esac
}

elf_faults() {
    local segments dynamic symbols
    segments=$(readelf -lW -- "$1")
    dynamic=$(readelf -dW -- "$1")
    symbols=$(nm -D --undefined-only -- "$1")
    [[ $segments == *'Elf file type is DYN '* ]] || echo "not position independent"
    [[ $segments == *GNU_RELRO* ]] || echo "no read-only relocations"
    grep -Eq '\(BIND_NOW\)|\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*NOW' <<<"$dynamic" || echo "functions are bound late"
    ! grep -Eq '^ +LOAD .* RWE ' <<<"$segments" || echo "a segment is writable and executable"
    grep -Eq '^ +GNU_STACK .* RWE? ' <<<"$segments" || echo "nothing is said of the stack"
    ! grep -Eq '^ +GNU_STACK .* RWE ' <<<"$segments" || echo "the stack is executable"
    [[ $symbols == *__stack_chk_fail* ]] || echo "no stack protector"
    [[ ${2-} != fortified ]] || grep -Eq '__[a-z]+_chk(@|$)' <<<"$symbols" || echo "no checked functions"
    # The mark of the file itself is lost to Debian's startup files, which are built without. Two of the places are in
    # those of the compiler.
    [[ $(uname -m) != x86_64 ]] || (($(objdump -d -- "$1" | grep -c 'endbr64') > 2)) || echo "jumps go anywhere"
}

pe_faults() {
    local objdump=x86_64-w64-mingw32-objdump header sections symbols flag
    header=$("$objdump" -p -- "$1")
    sections=$("$objdump" -hw -- "$1")
    symbols=$("$objdump" -t -- "$1")
    for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
        grep -Eq "^[[:space:]]+$flag$" <<<"$header" || echo "no $flag"
    done
    # Without it the file stays where it wants to lie, whatever the flags say.
    [[ $sections == *' .reloc '* ]] || echo "no relocations"
    ! grep ' CODE' <<<"$sections" | grep -v READONLY >/dev/null || echo "a section is writable and executable"
    [[ $symbols == *__stack_chk_fail* ]] || echo "no stack protector"
    [[ ${2-} != fortified ]] || grep -Eq '__[a-z]+_chk$' <<<"$symbols" || echo "no checked functions"
    ! grep -q 'DLL Name: libssp' <<<"$header" || echo "needs a DLL for its checks"
}
