#!/usr/bin/env bash
# Writes story.expected and demo.expected, what script/demo and script/demo --all show, with the
# programs of a build.
#   tests/agents/system/demo.sh FOLDER
set -euo pipefail
build=$( realpath "$1" )
cd "$( dirname "${BASH_SOURCE[0]}" )/../../.."
show() { # ARGUMENT...
   COLUMNS=100 FLOWSPEC_BUILD=$build script/demo "$@" |
      sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} UTC/TIME/; s/(version {7})[0-9a-f]{16}/\1VERSION/'
}
show >tests/agents/system/story.expected
show --all >tests/agents/system/demo.expected
