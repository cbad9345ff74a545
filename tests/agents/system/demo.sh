#!/usr/bin/env bash
# Writes demo.expected, what script/demo shows, with the programs of a build.
#   tests/agents/system/demo.sh FOLDER
set -euo pipefail
build=$( realpath "$1" )
cd "$( dirname "${BASH_SOURCE[0]}" )/../../.."
COLUMNS=100 FLOWSPEC_BUILD=$build script/demo |
   sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} UTC/TIME/; s/(version {7})[0-9a-f]{16}/\1VERSION/' \
      >tests/agents/system/demo.expected
