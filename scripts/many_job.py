"""Checks the Kubernetes job of docs/many-files.md for scripts/many, and prints its container's command with the volume as the
folder files/ beside it.

    many_job.py JOB.yaml WHAT-THE-CLIENT-READ.json EXIT-CODE-FOR-GOOD...
"""

import json
import sys

import yaml


def lost(written, kept, path=""):
    """What the client doesn't know: such a field, misspelt say, is missing from what it prints."""
    if isinstance(written, dict):
        for key, value in written.items():
            here = f"{path}.{key}"
            if key in kept:
                yield from lost(value, kept[key], here)
            else:
                yield here
    elif isinstance(written, list):
        if len(written) != len(kept):
            yield path
        for value, other in zip(written, kept):
            yield from lost(value, other, path)
    elif written != kept and path != ".spec.template.spec.containers.image":  # which the client was told to change
        yield path


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        job = yaml.safe_load(file)
    with open(sys.argv[2], encoding="utf-8") as file:
        missing = set(lost(job, json.load(file)))
    newer = {".spec.completionMode", ".spec.backoffLimitPerIndex", ".spec.podFailurePolicy"}  # than Debian's client
    assert missing <= newer, f"the client doesn't know {missing - newer}"

    # What the server alone refuses, and what those fields hold.
    spec = job["spec"]
    pod = spec["template"]["spec"]
    (container,) = pod["containers"]
    assert spec["completionMode"] == "Indexed" and isinstance(spec["backoffLimitPerIndex"], int)
    assert pod["restartPolicy"] == "Never"
    values = [int(code) for code in sys.argv[3:]]
    exits = {"containerName": container["name"], "operator": "In", "values": values}
    assert spec["podFailurePolicy"] == {"rules": [{"action": "FailIndex", "onExitCodes": exits}]}, exits
    assert {mount["name"] for mount in container["volumeMounts"]} == {volume["name"] for volume in pod["volumes"]}
    assert container["command"] == ["bash", "-c"]
    (command,) = container["args"]
    print(command.replace("/files/", "files/"), end="")


main()
