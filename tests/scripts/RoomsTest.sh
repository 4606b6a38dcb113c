#!/bin/bash
# That includes go along the arrows between the layers, and between the rooms of the library, and none against them.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
library=Kernel/ZEL_Processor/ZEL_Processor
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

# What a room or layer may include beside itself.
declare -A arrows=(
    [platform]=""
    [com]="platform"
    [framework]="com platform"
    [reports]=""
    [exchange]="reports"
    [protocol]="exchange reports" # commands and status files are XML
    [processor]="protocol exchange reports"
    [server]="processor protocol exchange reports"
    [client]="processor protocol exchange reports"
    [capi]="client server processor protocol exchange reports"
    [module]="client server processor protocol exchange reports"
)
rooms="reports exchange protocol processor server client capi module"
layers="platform com framework"
above="apps plugins bench tests fuzz"

# The rooms of the installed headers: those of the sources that implement them. The others have none, and are for all.
declare -A room_of=()
for room in $rooms; do
    for source in "$root/$library/$room"/*.cpp; do
        source=${source##*/}
        room_of[${source%.cpp}]=$room
    done
done

complain_of_arrows() { # folder
    local from file include to
    for from in $layers $rooms; do
        local folder=$from
        [[ " $rooms " != *" $from "* ]] || folder=$library/$from
        [[ -d $1/$folder ]] || { echo "there is no $folder"; continue; }
        while IFS=: read -r file include; do
            case $include in
                ZEL_Processor/* | ZELAutomation/*)
                    to=${include##*/}
                    to=${room_of[${to%.h}]-}
                    ;;
                */*) to=${include%%/*} ;;
                *) to= ;;
            esac
            [[ $to && $to != "$from" ]] || continue
            [[ " $rooms $layers $above " == *" $to "* ]] || continue
            # The layers below are everybody's.
            [[ " $rooms " != *" $from "* || " $layers " != *" $to "* ]] || continue
            [[ " ${arrows[$from]} " == *" $to "* ]] || echo "${file#"$1"/}: $from may not include $include"
        done < <(grep -rHoP '^#include "\K[^"]+' --include='*.h' --include='*.hpp' --include='*.cpp' "$1/$folder")
    done
    # Installed headers know none of the rooms.
    grep -rnP "^#include \"(${rooms// /|})/" "$1/inc" || true
}

failures=$(complain_of_arrows "$root")

# Planted ones are found.
cp -r --parents -- "$root/inc" "$root/platform" "$root/com" "$root/framework" "$root/$library" "$work"
planted=$work$root
for wrong in "protocol/Planted.cpp server/RequestQueue.h" "client/Planted.cpp ZEL_Processor/ZelProcessorServer.h" \
    "server/Planted.cpp apps/zel/Commands.h" "reports/Planted.cpp protocol/HandOver.h"; do
    echo "#include \"${wrong#* }\"" >"$planted/$library/${wrong%% *}"
    [[ $(complain_of_arrows "$planted") == *"Planted.cpp"* ]] || failures+="not found: ${wrong#* } in ${wrong%% *}"$'\n'
    rm -- "$planted/$library/${wrong%% *}"
done

[[ -z $failures ]] || { printf '%s\n' "$failures"; exit 1; }
