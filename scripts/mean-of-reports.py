"""Means over the reports of `quel eval --json`, read one after another: a table of Markdown with a
row per flavor."""

import json
import sys

COLUMNS = [  # title, loss in percent, figure, format
    ("SNR, dB", 0, "codec_snr_db", ".2f"),
    ("segmental SNR, dB", 0, "codec_segmental_snr_db", ".2f"),
    ("STOI", 0, "stoi", ".4f"),
    ("STOI at 5 % loss", 5, "stoi", ".4f"),
]


def reports(text):
    decoder = json.JSONDecoder()
    text = text.strip()
    while text:
        report, end = decoder.raw_decode(text)
        yield report
        text = text[end:].lstrip()


results = {}
for report in reports(sys.stdin.read()):
    for result in report["results"]:
        results.setdefault((result["flavor"], result["loss_percent"]), []).append(result)
if not results:
    sys.exit("mean-of-reports: no reports")

print("| kbit/s | files | " + " | ".join(title for title, *_ in COLUMNS) + " |")
print("|---|" + "---:|" * (len(COLUMNS) + 1))
for flavor in sorted({flavor for flavor, _ in results}):
    row = [results[flavor, 0][0]["name"], str(len(results[flavor, 0]))]
    for _, loss, figure, form in COLUMNS:
        values = [result[figure] for result in results[flavor, loss] if result[figure] is not None]
        row.append(format(sum(values) / len(values), form))
    print("| " + " | ".join(row) + " |")
