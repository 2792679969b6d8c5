"""The table, for the eye and for docs/performance.md."""

import datetime
import os
import platform
import re
import subprocess

BEGIN, END = "<!-- {0}: written by scripts/bench -->", "<!-- {0}: end -->"


def _limit(result, value):
    if value is None:
        return "-"
    return f"{value:g} {'met' if result.meets(value) else 'MISSED'}"


def result_lines(results):
    yield ("| row | job | reference | ratio | lowest - highest | ns a point: library / reference "
           "| must | target | stretch |")
    yield "| --- | --- | --- | --- | --- | --- | --- | --- | --- |"
    for result in results:
        row = result.row
        low, high = result.spread
        mine, theirs = result.nanoseconds
        direction = " (higher is better)" if row.higher_is_better else ""
        yield (f"| {row.name} | {row.title}{direction} | {row.reference_text} "
               f"| {result.ratio:.2f} | {low:.2f} - {high:.2f} | {mine:.1f} / {theirs:.1f} "
               f"| {_limit(result, row.must)} | {_limit(result, row.target)} "
               f"| {_limit(result, row.stretch)} |")


def memory_lines(results, budgets, columns, rows):
    by_name = {result.row.name: result for result in results}
    yield "| peak memory | MiB above the loaded library | of the whole process | limit | |"
    yield "| --- | --- | --- | --- | --- |"
    for budget in budgets:
        measured = [by_name[name] for name in budget.rows if name in by_name]
        if not measured:
            continue
        worst = max(measured, key=lambda result: result.peak_mib)
        limit = budget.limit(columns, rows)
        met = "met" if worst.peak_mib <= limit else "MISSED"
        yield (f"| {budget.title} ({worst.row.name}) | {worst.peak_mib:.1f} "
               f"| {worst.total_mib:.1f} | {limit:.1f} | {met} |")


def show(lines):
    """Prints a table with columns that stand below one another."""
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines
            if not line.startswith("| ---")]
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip(),
              flush=True)


def _processor():
    with open("/proc/cpuinfo") as lines:
        match = re.search(r"model name\s*: (.*)", lines.read())
    return match.group(1) if match else platform.machine()


def machine_lines(columns, rows, pairs):
    with open("/proc/meminfo") as lines:
        memory = int(lines.readline().split()[1]) / (1 << 20)
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout
    yield f"- {datetime.date.today().isoformat()}, {columns} x {rows} cells, {pairs} pairs a row"
    yield f"- {_processor()}, {os.cpu_count()} cores, {memory:.0f} GiB, {platform.system()} " \
          f"{platform.release()}"
    yield f"- {compiler.splitlines()[0]}; `-O3 -DNDEBUG -ffp-contract=off`, for both sides"
    yield "- to repeat: `scripts/dev bench`, on a machine that does nothing else meanwhile"


def write_section(path, name, lines):
    """Puts the lines between the marks of a section; what stands around them is written by hand."""
    begin, end = BEGIN.format(name), END.format(name)
    with open(path) as text:
        document = text.read()
    before, found, rest = document.partition(begin)
    _, found_end, after = rest.partition(end)
    if not found or not found_end:
        raise SystemExit(f"{path} has no section {begin} ... {end}")
    body = "\n".join(lines)
    with open(path, "w") as text:
        text.write(f"{before}{begin}\n{body}\n{end}{after}")


def replace_rows(path, lines):
    """Puts rows that were measured anew in the place of those of the same name."""
    with open(path) as text:
        document = text.read()
    for line in lines:
        name = re.escape(line.split("|")[1].strip())
        document = re.sub(rf"^\| {name} \|.*$", lambda _: line, document, count=1,
                          flags=re.MULTILINE)
    with open(path, "w") as text:
        text.write(document)
