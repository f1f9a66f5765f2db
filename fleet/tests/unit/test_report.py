"""The report."""
import csv
import html.parser
import io
import json
import os

import pytest
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils import report
from conftest import result


@pytest.fixture(name='ledger')
def a_ledger(tmp_path):
    """A ledger with a rollout."""
    ledger = book.Ledger(str(tmp_path / 'fleet'))
    ledger.begin(os.getpid())
    return ledger


def look(version='01.03', board='01a3', doctor=0, status=0, **more):
    """What sdr_info says."""
    the_status = result('status', status, **dict(dict(version_after=version, board=board, drift=False), **more))
    return dict(msg='Told.', ansible_facts=dict(tarvek_sdr=dict(status=the_status, doctor=result('doctor', doctor))))


def whole(looks, ledger, inputs=None):
    """The report of hosts."""
    return report.report_of(report.rows_of(looks, ledger, dict((host, inputs) for host, _ in looks)), 'then')


def row_of(looks, ledger, host, inputs=None):
    """The row of a host."""
    return [row for row in whole(looks, ledger, inputs)['hosts'] if row['host'] == host][0]


class Reader(html.parser.HTMLParser):
    """What a browser would see of a page."""

    def __init__(self):
        super().__init__()
        self.tags, self.texts = set(), []

    def handle_starttag(self, tag, attrs):
        """An element."""
        self.tags.add(tag)
        assert not [name for name, _ in attrs if name.startswith('on') or name in ('src', 'href')]

    def handle_data(self, data):
        """A text."""
        self.texts.append(data)


HOSTILE = ['<script>alert(1)</script>', '"><img src=x onerror=alert(1)>', '</td></table>', '&lt;', '{{ 7 * 7 }}',
           '%(style)s', "' onmouseover='x"]


@pytest.mark.parametrize('drift, cell', [(None, ''), (False, 'no'), (True, 'yes')])
def test_drift_that_is_not_known_is_not_told(ledger, drift, cell):
    made = whole([('a', look(drift=drift))], ledger)
    assert made['hosts'][0]['drift'] is drift
    assert list(csv.DictReader(io.StringIO(report.as_csv(made))))[0]['drift'] == cell


@pytest.mark.parametrize('odd', [7, 1.5, True, [], ['x'], {}, {'a': 'b'}])
def test_an_answer_of_another_shape_breaks_no_report(ledger, odd):
    looks = [('a', look(version=odd)), ('b', look(board=odd)), ('c', look(script=odd, driver=odd)),
             ('d', look(run=odd, percent=odd)), ('e', look(drift=odd)), ('f', look(status=odd)),
             ('g', dict(look(), msg=odd)), ('h', dict(ansible_facts=dict(tarvek_sdr=odd))),
             ('i', dict(ansible_facts=dict(tarvek_sdr=dict(status=odd)))), ('j', look())]
    made = whole(looks, ledger)
    assert len(made['hosts']) == len(looks)
    for form in report.FORMS.values():
        assert form(made)


@pytest.mark.parametrize('text', HOSTILE)
def test_a_hostile_text_stays_text_wherever_it_stands(ledger, text):
    ledger.fail(text, msg=text)
    looks = [(text, look(version=text, board=text, run=text, percent=text, script=text)),
             ('b', dict(failed=True, msg=text)), ('c', dict(unreachable=True, msg=text))]
    page = Reader()
    page.feed(report.as_html(whole(looks, ledger, {'01a3': dict(version=text)})))
    assert page.tags <= {'html', 'head', 'meta', 'title', 'style', 'body', 'h1', 'h2', 'p', 'ul', 'li', 'b', 'div',
                         'table', 'thead', 'tbody', 'tr', 'th', 'td', 'span', 'i', 'br'}
    assert page.texts.count(text) >= 4
    assert ''.join(page.texts).count(text) >= 6


def test_the_page_stands_alone(ledger):
    page = report.as_html(whole([('a', look())], ledger))
    assert "default-src 'none'" in page
    assert 'http:' not in page and 'https:' not in page and '<script' not in page


def test_characters_that_are_not_seen_are_shown():
    assert report.visible('a\x1b[2J\u202eb\x00\ud800') == 'a\\x1B[2J\\u202Eb\\x00\\uD800'
    assert report.visible('Lüfter 1') == 'Lüfter 1'


@pytest.mark.parametrize('text', ['=1+1', '+1', '-1', '@SUM(A1)'])
def test_no_cell_is_a_formula(ledger, text):
    (row,) = list(csv.DictReader(io.StringIO(report.as_csv(whole([('a', look(version=text))], ledger)))))
    assert row['version'] == "'" + text


def test_a_cell_keeps_quotes_commas_and_lines(ledger):
    text = 'a "quoted", b'
    (row,) = list(csv.DictReader(io.StringIO(report.as_csv(whole([(text, look())], ledger)))))
    assert row['host'] == text


def test_the_json_is_whole(ledger):
    told = json.loads(report.as_json(whole([('a', look(version='<b>'))], ledger)))
    assert told['hosts'][0]['version'] == '<b>'
    assert told['boards'] == [dict(board='01a3', versions=[dict(version='<b>', hosts=1)])]


def test_a_straggler_is_behind_the_newest_of_its_board(ledger):
    looks = [('a', look('01.03')), ('b', look('01.02')), ('c', look('01.01', '01b0')), ('d', look(None))]
    summary = whole(looks, ledger)['summary']
    assert summary['stragglers'] == ['b', 'd']


def test_a_straggler_is_behind_what_its_board_is_to_have(ledger):
    inputs = {'01A3': dict(src='x', version='01.04')}
    assert row_of([('a', look('01.03'))], ledger, 'a', inputs)['straggler'] is True
    assert row_of([('a', look('01.04'))], ledger, 'a', inputs)['straggler'] is False


def test_a_version_that_is_none_makes_no_stragglers(ledger):
    assert row_of([('a', look('01.03')), ('b', look('zzzzz'))], ledger, 'a')['straggler'] is False


def test_what_a_host_is_has_a_word(ledger):
    looks = [('a', look()), ('b', look(doctor=4)), ('c', look(status=1)), ('d', dict(failed=True, msg='x')),
             ('e', dict(unreachable=True, msg='y'))]
    states = [row['state'] for row in whole(looks, ledger)['hosts']]
    assert states == ['ok', 'unfit', 'failed', 'failed', 'unreachable']


def test_drift_quarantine_and_open_are_told(ledger):
    for host in ('a', 'b'):
        ledger.put(book.OPEN, host)
    ledger.fail('a', msg='broke')
    looks = [('a', look()), ('b', look()), ('c', look(drift=True))]
    summary = whole(looks, ledger)['summary']
    assert (summary['quarantined'], summary['open'], summary['drift']) == (['a'], ['b'], ['c'])
    assert row_of(looks, ledger, 'a')['quarantined'] == 'broke'
    page = report.as_html(whole(looks, ledger))
    for text in ('quarantined: broke', 'not known to have ended well', 'changed since they were programmed'):
        assert text in page
