# shellcheck shell=bash
# The sources as they are now, committed or not, in another folder; nothing of what was built.
copy_sources() { # from to
    mkdir -p -- "$2"
    git -C "$1" ls-files -z --cached --others --exclude-standard |
        (cd -- "$1" && xargs -0 sh -c 'for file; do [ ! -e "$file" ] || printf "%s\0" "$file"; done' _) |
        tar -C "$1" --null --no-recursion -T - -c | tar -C "$2" -x
}
