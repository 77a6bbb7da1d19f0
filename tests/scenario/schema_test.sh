#!/bin/sh
# Holds scenarios against their JSON Schema: those of tests, examples and documents fit, and mistakes
# do not: VQHOST SOURCES.
set -eu
schema=$(mktemp)
trap 'rm -f "$schema"' EXIT
"$1" schema scenario >"$schema"
cd "$2"
# The distribution's, which has the package.
/usr/bin/python3 - "$schema" <<'END'
import glob, json, re, sys
from jsonschema import Draft202012Validator as Validator

schema = json.load(open(sys.argv[1]))
Validator.check_schema(schema)
fits = Validator(schema).is_valid
failures = []

found = 0
for path in (glob.glob("tests/scenario/[!s]*.sh") + glob.glob("examples/**/*.json", recursive=True) +
             ["tests/scenario/scenario_test.cpp", "tools/vqnew/template/scenario.json", "docs/testing.md",
              "docs/man/velt-scenario.5"]):
    text = open(path).read().split("TEST(ScenarioFiles, Mistakes")[0]
    for start in re.finditer(r'\{\s*"(\$schema|format|language|others|order|steps)"', text):
        try:
            scenario, _ = json.JSONDecoder().raw_decode(text, start.start())
        except ValueError: # what a script puts together
            continue
        if "steps" in scenario:
            found += 1
            if not fits(scenario):
                failures.append(f"{path} has one that does not fit: {scenario}")
if found < 15:
    failures.append(f"only {found} scenarios were found")

for step in ('{"cal": "api_vq_alert_1"}', '{"call": "api_vq_alret_1"}', '{"call": "vq_api_quit_1"}',
             '{"call": "api_vq_init_ack_5_1"}', '{"call": "api_vq_alert_1", "time": 2}',
             '{"call": "api_vq_alert_1", "times": "many"}', '{"call": "api_vq_alert_1", "delay": -1}',
             '{"call": "api_vq_alert_1", "nth": 2, "times": 0}',
             '{"call": "api_vq_alert_1", "arguments": {"str": "x"}}',
             '{"call": "api_vq_alert_1", "arguments": {"str1": 1}}', '{"call": "*", "arguments": {}}',
             '{"call": "api_vq_close_1", "answer": "not-permited"}',
             '{"call": "api_vq_alert_1", "arguments": {"str1": {"contains": ""}}}',
             '{"call": "api_vq_get_int_1", "arguments": {"propIdent": {"num": 3, "name": "x"}}}',
             '{"call": "api_vq_get_val_1", "answer": {"typedVal": {"stringVal": "x"}}}',
             '{"call": "api_vq_alert_1", "in": []}',
             '{"call": "api_vq_alert_1", "after": [{"callback": "vq_api_quit"}]}',
             '{"call": "api_vq_alert_1", "before": [{"callback": "vq_api_quit_1", "end": "any"}]}',
             '{"call": "api_vq_alert_1", "after": [{"callback": "vq4_api_notify_1", "end": "any"}]}',
             '{"callback": "vq_api_message_1", "arguments": {"message": {"contains": "x"}}}'):
    if fits({"steps": [json.loads(step)]}):
        failures.append(f"the mistake of {step} fits")
for root in {}, {"steps": {}}, {"steps": [], "format": 2}, {"steps": [], "$schema": 3}:
    if fits(root):
        failures.append(f"the mistake of {root} fits")
sys.exit("\n".join(failures) or 0)
END
