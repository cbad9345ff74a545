#!/usr/bin/env bash
# Installs the build into a temporary prefix, then builds and runs the consumer against it, once by
# the CMake package and once by pkg-config, and the agent of the tutorial.
#   install.sh BUILD-FOLDER COMPILER LIBRARY-FOLDER
set -euo pipefail
build=$1 compiler=$2 libraries=$3
project=$( cd "$( dirname "${BASH_SOURCE[0]}" )" && pwd )
consumer=$project/consumer
work=$( mktemp -d )
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

# check EXPECTED-FILE COMMAND...
check() {
   local output expected
   expected=$( cat "$consumer/$1" )
   shift
   output=$( "$@" )
   [[ $output == "$expected" ]] && return
   printf '%s printed\n%s\nnot\n%s\n' "$1" "$output" "$expected" >&2
   exit 1
}

cmake --install "$build" --prefix "$work/staged" >"$work/install.log"
mv "$work/staged" "$prefix" # the tree works wherever it stands

# CMake before 3.23 does not know sets of headers.
for library in VekPlatform FlowspecDalbTypes Peers Wire Match; do
   grep -A 3 "set_target_properties(FlowspecDalbTypes::$library PROPERTIES" \
      "$prefix/$libraries/cmake/FlowspecDalbTypes/FlowspecDalbTypesTargets.cmake" |
      grep -q 'INTERFACE_INCLUDE_DIRECTORIES ".*/include/FlowspecDalb"'
done

cmake -S "$consumer" -B "$work/cmake" -G Ninja \
   -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" >"$work/cmake.log"
cmake --build "$work/cmake"
check expected.txt "$work/cmake/consumer"
check peersExpected.txt "$work/cmake/peersConsumer"
check wireExpected.txt "$work/cmake/wireConsumer"
check matchExpected.txt "$work/cmake/matchConsumer"

export PKG_CONFIG_PATH=$prefix/$libraries/pkgconfig
# buildByPkgConfig PACKAGE SOURCE
buildByPkgConfig() {
   read -ra flags < <( pkg-config --cflags --libs "$1" )
   "$compiler" -std=c++20 "$consumer/$2.cc" -o "$work/$2" "${flags[@]}" \
      "-Wl,-rpath,$( pkg-config --variable=libdir "$1" )"
}
buildByPkgConfig FlowspecDalbTypes consumer
check expected.txt "$work/consumer"
buildByPkgConfig FlowspecPeers peersConsumer
check peersExpected.txt "$work/peersConsumer"
buildByPkgConfig FlowspecWire wireConsumer
check wireExpected.txt "$work/wireConsumer"
buildByPkgConfig FlowspecMatch matchConsumer
check matchExpected.txt "$work/matchConsumer"

# No private header is there. One program includes all others, keeps every function that is inline in
# them, and is linked: what these call is exported.
include=$prefix/include/FlowspecDalb
find "$include" -name '*.h' -printf '#include "%P"\n' | sort >"$work/all.cc"
grep -vxFf <( sed 's|^siblings/||; s|.*|#include "&"|' "$project/../../cmake/privateHeaders.txt" ) \
   "$work/all.cc" | diff - "$work/all.cc"
echo 'int main() {}' >>"$work/all.cc"
keep=()
"$compiler" --version | grep -q clang || keep=( -fkeep-inline-functions )
read -ra flags < <( pkg-config --cflags --libs FlowspecMatch FlowspecPeers )
"$compiler" -std=c++20 "${keep[@]}" "$work/all.cc" -o "$work/all" "${flags[@]}" \
   "-Wl,-rpath-link,$prefix/$libraries"

if [[ -e $build/tools/flowspecctl ]]; then
   echo '10.1.0.0/16;*;IP:=6;DP:=443;' >"$work/rules"
   printed=$( "$prefix/bin/flowspecctl" key --to cli "$work/rules" )
   [[ $printed == "$( cat "$work/rules" )" ]]
   [[ -s $prefix/share/man/man1/flowspecctl.1 ]]
   [[ -s $prefix/share/bash-completion/completions/flowspecctl ]]
fi

if [[ -e $build/agents/statedbd ]]; then
   # A unit names its program by the prefix that was chosen last.
   for daemon in statedbd configd peerd programd; do
      "$prefix/bin/$daemon" --version | grep -q "^$daemon [0-9.]*$"
      grep -q "^ExecStart=$work/staged/bin/$daemon --socket " \
         "$prefix/lib/systemd/system/flowspec-$daemon.service"
      [[ -s $prefix/share/man/man8/$daemon.8 ]]
   done
   # The first configuration is what the daemons take, the commented rules too.
   grep -q '^u flowspec ' "$prefix/lib/sysusers.d/flowspec.conf"
   while read -r type path mode owner group _ from; do
      if [[ $type == C ]]; then
         [[ "$mode $owner $group" == '0640 root flowspec' && $path == /etc/flowspec/* ]]
         [[ -s $prefix/share/flowspec/${from##*/} && $from == "$work/staged/share/flowspec/"* ]]
      fi
   done < <( grep -v '^#' "$prefix/lib/tmpfiles.d/flowspec.conf" )
   rules=$prefix/share/flowspec/rules.jsonl
   [[ $( sed -n 's/^# {/{/p' "$rules" | "$prefix/bin/flowspecctl" rule --to bird | wc -l ) == 2 ]]
   python3 "$project/tutorial.py" "$project/../.." "$prefix" "$compiler"
fi

# What was installed can be taken away, and leaves nothing.
mv "$prefix" "$work/staged"
cmake "-DMANIFESTS=$build" -P "$project/../../cmake/Uninstall.cmake"
[[ ! -e $work/staged ]]
