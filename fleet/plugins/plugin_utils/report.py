"""Who holds which version: rows, and the forms in which they are told.

Everything in a row may come from a BMC or from a machine that somebody else controls: each form escapes every text.
"""
import csv
import html
import io
import json
import re
import unicodedata

from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book

DONE = 0

COLUMNS = ('host', 'state', 'board', 'version', 'wanted', 'straggler', 'drift', 'script', 'driver', 'run',
           'percent', 'quarantined', 'open', 'last_outcome', 'last_time', 'message')
STATES = ('ok', 'unfit', 'failed', 'unreachable')

# Categories of characters that are not seen: controls, formats (which turn the direction of others), and the like.
_HIDDEN = ('Cc', 'Cf', 'Cs', 'Co', 'Cn', 'Zl', 'Zp')

# A version that others are measured by: what a BMC says may be anything.
_VERSION = re.compile(r'^[0-9][0-9A-Za-z.]{4}$')

# A cell that begins so is a formula to a spreadsheet.
_FORMULA = ('=', '+', '-', '@', '\t', '\r', '\n')


# ---- rows

def rows_of(looks, ledger, inputs):
    """A row a host.

    looks: pairs of a host's name and the result of sdr_info there; inputs: what the boards get, by host.
    """
    quarantined, left = ledger.entries(book.QUARANTINE), set(ledger.hosts(book.OPEN))
    outcomes = ledger.entries(book.OUTCOMES)
    rows = [_row(host, look) for host, look in looks]
    newest = _newest(rows)
    for row in rows:
        host, outcome = row['host'], outcomes.get(row['host'], {})
        row['wanted'] = _version_for(row['board'], inputs.get(host)) or newest.get(row['board'])
        row['straggler'] = bool(row['board'] and row['state'] == 'ok' and row['wanted'] is not None
                                and (row['version'] is None or row['version'] < row['wanted']))
        row['quarantined'] = quarantined[host].get('msg') or 'yes' if host in quarantined else None
        row['open'] = host in left and host not in quarantined  # whose end is known
        row['last_outcome'], row['last_time'] = outcome.get('outcome'), outcome.get('time')
    return rows


def _row(host, look):
    row = dict.fromkeys(COLUMNS)
    row.update(host=host, message=_text(look.get('msg')))
    facts = (look.get('ansible_facts') or {}).get('tarvek_sdr')
    if look.get('unreachable') or not facts:
        row['state'] = 'unreachable' if look.get('unreachable') else 'failed'
        return row
    status, doctor = (_object(_object(facts).get(part)) for part in ('status', 'doctor'))
    row['state'] = 'failed' if status.get('status') != DONE else 'ok' if doctor.get('status') == DONE else 'unfit'
    row['version'] = _text(status.get('version_after'))
    for key in ('board', 'script', 'driver', 'run'):
        row[key] = _text(status.get(key))
    row['percent'] = status.get('percent')
    row['drift'] = status['drift'] if isinstance(status.get('drift'), bool) else None
    return row


def _object(value):
    """What a machine says may be anything: an object, or an empty one."""
    return value if isinstance(value, dict) else {}


def _text(value):
    return value if value is None else str(value)


def _newest(rows):
    """The newest version that a host has, by board."""
    newest = {}
    for row in rows:
        if row['board'] and _VERSION.match(row['version'] or ''):
            newest[row['board']] = max(newest.get(row['board'], row['version']), row['version'])
    return newest


def _version_for(board, inputs):
    """The version that a host's variables have for its board; None where they have none."""
    for key, entry in _object(inputs).items():
        if board and str(key).lower() == board.lower():
            return _text(_object(entry).get('version'))
    return None


def report_of(rows, time):
    """The whole report."""
    versions = {}
    for row in rows:
        if row['board']:
            per_board = versions.setdefault(row['board'], {})
            version = row['version'] if row['version'] is not None else ''
            per_board[version] = per_board.get(version, 0) + 1
    summary = dict(hosts=len(rows), drift=_names(rows, lambda row: row['drift']),
                   stragglers=_names(rows, lambda row: row['straggler']),
                   quarantined=_names(rows, lambda row: row['quarantined']),
                   open=_names(rows, lambda row: row['open']),
                   **dict((state, _names(rows, lambda row, state=state: row['state'] == state))
                          for state in STATES))
    boards = [dict(board=board, versions=[dict(version=version, hosts=count) for version, count
                                          in sorted(found.items(), reverse=True)])
              for board, found in sorted(versions.items())]
    return dict(schema=1, time=time, summary=summary, boards=boards, hosts=rows)


def _names(rows, holds):
    return [row['host'] for row in rows if holds(row)]


def in_words(whole):
    """The report in a line."""
    summary = whole['summary']
    parts = ['%d hosts' % summary['hosts']]
    for key in STATES + ('stragglers', 'drift', 'quarantined', 'open'):
        if summary[key]:
            parts.append('%s %d' % (key, len(summary[key])))
    return ', '.join(parts) + '.'


# ---- forms

def _shown(char):
    if unicodedata.category(char) not in _HIDDEN:
        return char
    return '\\x%02X' % ord(char) if ord(char) < 0x100 else '\\u%04X' % ord(char)


def visible(text):
    """A text in which no character is invisible, or changes how others are shown."""
    return ''.join(_shown(char) for char in text)


def as_text(value):
    """A value of a row for people."""
    if value is None:
        return ''
    if isinstance(value, bool):
        return 'yes' if value else 'no'
    return visible(str(value))


def as_json(whole):
    """The report as JSON."""
    return json.dumps(whole, indent=2, sort_keys=True) + '\n'


def as_csv(whole):
    """The hosts as a table: every cell quoted, none a formula."""
    stream = io.StringIO()
    writer = csv.writer(stream, quoting=csv.QUOTE_ALL, lineterminator='\n')
    writer.writerow(COLUMNS)
    for row in whole['hosts']:
        writer.writerow([_cell(row[column]) for column in COLUMNS])
    return stream.getvalue()


def _cell(value):
    text = as_text(value)
    return "'" + text if text.startswith(_FORMULA) else text


_STYLE = '''
body { font: 15px/1.5 system-ui, sans-serif; margin: 2rem auto; max-width: 80rem; padding: 0 1rem; color: #1c1e21;
  background: #fff; }
h1 { font-size: 1.5rem; margin: 0; }
h2 { font-size: 1.1rem; margin: 2rem 0 .5rem; }
p.when { color: #5b6068; margin: .2rem 0 1.5rem; }
ul.sums { display: flex; flex-wrap: wrap; gap: .75rem; list-style: none; margin: 0; padding: 0; }
ul.sums li { border: 1px solid #d5d9de; border-radius: .4rem; padding: .5rem 1rem; min-width: 6rem; }
ul.sums b { display: block; font-size: 1.5rem; line-height: 1.2; }
.table { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; }
th, td { border-bottom: 1px solid #d5d9de; padding: .35rem .8rem .35rem 0; text-align: left; vertical-align: top; }
td.version, td.board { font-family: ui-monospace, monospace; white-space: pre-wrap; }
td.host { font-weight: 600; overflow-wrap: anywhere; }
td.message { min-width: 16rem; }
tr.bad td.state { color: #b3261e; font-weight: 600; }
tr.note td.state { color: #8a5300; font-weight: 600; }
tr.good td.state { color: #1b6e3c; }
.bar { background: #e7eaee; display: inline-block; height: .7rem; width: 12rem; }
.bar i { background: #2f6fb4; display: block; height: 100%; }
@media (prefers-color-scheme: dark) {
  body { background: #17191c; color: #e4e6e9; }
  p.when { color: #a2a8b0; }
  ul.sums li, th, td { border-color: #3a3f46; }
  tr.bad td.state { color: #ff8a80; } tr.note td.state { color: #ffb95c; } tr.good td.state { color: #7fd6a0; }
  .bar { background: #3a3f46; } .bar i { background: #7db4ee; }
}
'''


def _escaped(value):
    return html.escape(as_text(value), quote=True)


def remarks(row):
    """What is to be known of a host, in words."""
    found = []
    if row['open']:
        found.append('an update was begun and is not known to have ended well')
    if row['quarantined']:
        found.append('quarantined: %s' % row['quarantined'])
    if row['straggler']:
        found.append('behind %s' % row['wanted'])
    if row['drift']:
        found.append('its records were changed since they were programmed')
    if row['run']:
        found.append('run %s is under way, %s %%' % (row['run'], row['percent']))
    if row['state'] != 'ok':
        found.append(row['message'] or '')
    return found


def _sort_of(row):
    if row['state'] in ('failed', 'unreachable') or row['quarantined'] or row['open']:
        return 'bad'
    return 'note' if row['state'] != 'ok' or row['straggler'] or row['drift'] else 'good'


def _word_of(row):
    for key in ('open', 'quarantined'):
        if row[key]:
            return key
    if row['state'] != 'ok':
        return row['state']
    return 'behind' if row['straggler'] else 'drift' if row['drift'] else 'ok'


def _sums(summary):
    titles = (('hosts', 'hosts'), ('ok', 'fit'), ('stragglers', 'behind'), ('drift', 'drift'),
              ('quarantined', 'quarantined'), ('open', 'open'), ('unfit', 'unfit'), ('failed', 'failed'),
              ('unreachable', 'unreachable'))
    counts = ((title, summary[key] if key == 'hosts' else len(summary[key])) for key, title in titles)
    return ''.join('<li><b>%d</b>%s</li>\n' % (count, title) for title, count in counts)


def _boards(boards):
    lines = []
    for board in boards:
        total = sum(found['hosts'] for found in board['versions'])
        for found in board['versions']:
            share = 100 * found['hosts'] // total
            lines.append(
                '<tr><td class="board">%s</td><td class="version">%s</td><td>%d</td>'
                '<td><span class="bar"><i style="width:%d%%"></i></span></td></tr>\n'
                % (_escaped(board['board']), _escaped(found['version'] or 'none'), found['hosts'], share))
    return ''.join(lines)


def _hosts(rows):
    order = dict(bad=0, note=1, good=2)
    lines = []
    for row in sorted(rows, key=lambda row: order[_sort_of(row)]):
        lines.append(
            '<tr class="%s"><td class="host">%s</td><td class="state">%s</td><td class="board">%s</td>'
            '<td class="version">%s</td><td>%s</td><td class="message">%s</td></tr>\n'
            % (_sort_of(row), _escaped(row['host']), _escaped(_word_of(row)), _escaped(row['board']),
               _escaped(row['version']), _escaped(row['last_outcome']),
               '<br>'.join(_escaped(remark) for remark in remarks(row))))
    return ''.join(lines)


_PAGE = '''<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>SDR sets of the fleet</title>
<style>%(style)s</style>
</head>
<body>
<h1>SDR sets of the fleet</h1>
<p class="when">%(time)s</p>
<ul class="sums">
%(sums)s</ul>
<h2>Versions by board</h2>
<div class="table"><table>
<thead><tr><th>Board</th><th>Version</th><th>Hosts</th><th>Share</th></tr></thead>
<tbody>
%(boards)s</tbody>
</table></div>
<h2>Hosts</h2>
<div class="table"><table>
<thead><tr><th>Host</th><th>State</th><th>Board</th><th>Version</th><th>Last rollout</th><th>Remarks</th></tr></thead>
<tbody>
%(hosts)s</tbody>
</table></div>
</body>
</html>
'''


def as_html(whole):
    """The report as one page that needs nothing else: no script, nothing fetched."""
    return _PAGE % dict(style=_STYLE, time=_escaped(whole['time']), sums=_sums(whole['summary']),
                        boards=_boards(whole['boards']), hosts=_hosts(whole['hosts']))


FORMS = dict(csv=as_csv, json=as_json, html=as_html)
