# shellcheck shell=bash
# shellcheck disable=SC2154 # work and build are those of workplace.sh
# A copy of this system that a test may change: what it writes goes with it. Takes root. For tests that have sourced
# workplace.sh: $work/moved lies there as /srv/zel-tour, with the packages in build/packages.

make_packages() {
    mkdir -p "$work/system" "$work/moved/build"
    logged pack cpack --config "$build/CPackConfig.cmake" -B "$work/moved/build/packages" \
        -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip
    rm -rf "$work/moved/build/packages/_CPack_Packages"
    chmod -R a+rX "$work/moved"
}

# 77: this system can't be copied.
in_copy() { # commands of bash
    # shellcheck disable=SC2016 # expanded by the inner shell
    unshare -m -p -f bash -euc '
        mount -t tmpfs tmpfs "$1/system"
        cd "$1/system"
        mkdir upper work root
        mount -t overlay overlay -o lowerdir=/,upperdir=upper,workdir=work root || exit 77
        mount --bind /dev root/dev
        mount -t proc proc root/proc
        cp -r "$1/moved" root/srv/zel-tour
        exec chroot root bash -euo pipefail -c "$2"' _ "$work" "$1"
}
