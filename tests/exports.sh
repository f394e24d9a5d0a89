#!/bin/sh
# The plug-in exports the factories, the classes that others use, and nothing else: tests/exports.sh NM PLUGIN
set -eu

allowed='^(vtable for |typeinfo for |typeinfo name for )?(MediaRecordingService|RecordingController|RecordingConfigManager|RecordingStateMachine)(::|$)'
exported=$("$1" --dynamic --defined-only --demangle "$2" | cut -d ' ' -f 3- | grep -v '^__odr_asan')
if echo "$exported" | grep -vE "$allowed" | grep -vxE 'MediaRecordingHelper::reset\(\)|createMediaRecordingService(Invoker)?'; then
    echo "exported, and should not be"
    exit 1
fi
for name in createMediaRecordingService createMediaRecordingServiceInvoker 'MediaRecordingHelper::reset()' \
    'RecordingStateMachine::getState()' 'vtable for MediaRecordingService'; do
    echo "$exported" | grep -qxF "$name" || { echo "not exported: $name"; exit 1; }
done
