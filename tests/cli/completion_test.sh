#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The completion of bash, called as bash calls it: completion_test.sh KESTRO COMPLETION
#
# A program of this test's own answers for cameras; commands and options come from the real one.
set -u
real=$1
source "$2"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cat > "$folder/kestro" << END
#!/bin/bash
case "\$*" in
    *--help*) exec "$real" "\$@" ;;
    'list --json') cat "$folder/cameras" ;;
    'features CAM1 '*) cat "$folder/features" ;;
    'get CAM1 TriggerMode --json') echo '{"name":"TriggerMode","entries":[{"symbol":"Off"},{"symbol":"On"}]}' ;;
    *) exit 4 ;;
esac
END
chmod +x "$folder/kestro"
cat > "$folder/cameras" << 'END'
{"key":"Maker:CAM1","serial_number":"CAM1","model":"M"}
{"key":"Maker:CAM2","serial_number":"CAM2","model":"M"}
{"key":"Evil:x","serial_number":"$(touch x)","model":"M"}
{"key":"Evil:y","serial_number":"a;b c*","model":"M"}
END
cat > "$folder/features" << 'END'
{"name":"TriggerMode","type":"enum","available":true,"readable":true,"writable":true,"value":"Off"}
{"name":"TriggerSoftware","type":"command","available":true,"readable":false,"writable":true}
{"name":"Temperature","type":"float","available":true,"readable":true,"writable":false,"value":1}
END

failures=0
# expect WORDS RESULT: what is offered for the last of the words.
expect() {
    read -ra COMP_WORDS <<< "$folder/kestro $1"
    [[ $1 == *' ' ]] && COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _kestro 2> /dev/null
    local offered
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' ')
    [[ ${offered% } == "$2" ]] && return
    echo "\"$1\": offers \"${offered% }\", not \"$2\""
    failures=$((failures + 1))
}

expect 'fe' 'features'
expect 'l' 'list load'
expect '--v' '--version'
expect 'read --' '--help --json --no-reconnect --overlay --save --set --timeout'
expect 'read -n ' ''
expect 'features CAM1 --visibility ' 'beginner expert guru invisible'
expect 'sim --format c' "$("$real" sim --help | grep -oE 'c(ontainer(-jpeg)?|hunk(-only)?)\b' | sort -u | tr '\n' ' ' | sed 's/ $//')"
expect 'sim --i' '--images'
expect 'info ' 'CAM1 CAM2'
expect 'get CAM1 T' 'Temperature TriggerMode'
expect 'get CAM9 T' ''
expect 'set CAM1 ' 'TriggerMode='
expect 'set CAM1 TriggerMode =' 'Off On'
expect 'set CAM1 TriggerMode = Of' 'Off'
expect 'exec CAM1 ' 'TriggerSoftware'
expect 'sim ' ''
exit $((failures > 0))
