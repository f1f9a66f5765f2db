"""The files of a rollout."""
import json
import os
import subprocess

import pytest
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book


@pytest.fixture(name='ledger')
def a_ledger(tmp_path):
    """A ledger without a file."""
    return book.Ledger(str(tmp_path / 'fleet'))


def test_a_good_outcome_closes_a_host(ledger):
    ledger.put(book.OPEN, 'a', src='B.SDR')
    assert ledger.hosts(book.OPEN) == ['a']
    ledger.conclude('a', outcome='done')
    assert not ledger.hosts(book.OPEN)
    assert ledger.get(book.OUTCOMES, 'a')['outcome'] == 'done'


@pytest.mark.parametrize('outcome', ['failed', 'held', 'drift', 'skipped'])
def test_another_outcome_leaves_it_open(ledger, outcome):
    ledger.put(book.OPEN, 'a')
    ledger.conclude('a', outcome=outcome)
    assert ledger.hosts(book.OPEN) == ['a']


def test_a_failure_quarantines_and_is_told_of_this_rollout_only(ledger):
    ledger.begin(os.getpid())
    ledger.fail('a', msg='broke')
    assert ledger.failed() == ['a']
    assert ledger.get(book.QUARANTINE, 'a')['msg'] == 'broke'
    ledger.end()
    ledger.begin(os.getpid())
    assert not ledger.failed()
    assert ledger.hosts(book.QUARANTINE) == ['a']


def test_every_outcome_is_a_line(ledger):
    ledger.conclude('a', outcome='done')
    ledger.conclude('b', outcome='skipped')
    with open(ledger.path('outcomes.jsonl'), encoding='utf-8') as lines:
        assert [json.loads(line)['host'] for line in lines] == ['a', 'b']


def test_what_was_done_in_a_rollout_stays_done_when_a_later_play_finds_nothing_to_do(ledger):
    ledger.begin(os.getpid())
    ledger.put(book.OPEN, 'a')
    ledger.conclude('a', outcome='done')
    ledger.conclude('a', outcome='nothing')
    assert ledger.concluded()['a']['outcome'] == 'done'
    ledger.end()
    ledger.begin(os.getpid())
    ledger.conclude('a', outcome='nothing')
    assert ledger.concluded()['a']['outcome'] == 'nothing'


@pytest.mark.parametrize('host', ['../../etc/passwd', '.', '..', '.hidden', 'fe80::1%eth0', 'a b', 'a/b', 'ä'])
def test_no_name_of_a_host_leads_out_and_each_comes_back(ledger, host):
    ledger.put(book.OPEN, host)
    assert ledger.hosts(book.OPEN) == [host]
    (name,) = os.listdir(ledger.path(book.OPEN))
    assert '/' not in name and not name.startswith('.')
    assert os.path.dirname(os.path.dirname(ledger.backup_path(host, 'T'))) == ledger.path(book.BACKUPS)
    assert os.path.normpath(ledger.backup_path(host, 'T')) == ledger.backup_path(host, 'T')


def test_a_file_that_cannot_be_read_still_says_what_its_name_says(ledger):
    ledger.put(book.OPEN, 'a')
    with open(ledger.path(book.OPEN, 'a.json'), 'w', encoding='ascii') as torn:
        torn.write('{"ho')
    assert ledger.hosts(book.OPEN) == ['a']
    assert ledger.get(book.OPEN, 'a') == {}


def test_a_file_that_is_being_written_is_no_host(ledger):
    ledger.put(book.OPEN, 'a')
    with open(ledger.path(book.OPEN, '.new-x.json'), 'w', encoding='ascii'):
        pass
    assert ledger.hosts(book.OPEN) == ['a']


def test_a_write_that_fails_leaves_the_old_file_and_no_other(ledger, monkeypatch):
    ledger.put(book.OPEN, 'a', src='old')

    def full(descriptor):
        raise OSError(28, 'No space left on device')
    monkeypatch.setattr(book.os, 'fsync', full)
    with pytest.raises(OSError):
        ledger.put(book.OPEN, 'a', src='new')
    assert ledger.get(book.OPEN, 'a')['src'] == 'old'
    assert os.listdir(ledger.path(book.OPEN)) == ['a.json']


def test_only_the_owner_reads_what_is_kept(ledger):
    ledger.put(book.OPEN, 'a')
    assert os.stat(ledger.path(book.OPEN, 'a.json')).st_mode & 0o077 == 0
    assert os.stat(ledger.path(book.OPEN)).st_mode & 0o077 == 0


def test_the_newest_backup_is_found_also_of_then(ledger):
    for time in ('20260102T000000Z', '20260301T000000Z', '20260201T000000Z'):
        book.write_whole(ledger.backup_path('a', time), b'')
    book.write_whole(ledger.path(book.BACKUPS, 'a', 'zzz.BAK'), b'')
    assert ledger.newest_backup('a') == ledger.backup_path('a', '20260301T000000Z')
    assert ledger.newest_backup('a', '20260201T000000Z') == ledger.backup_path('a', '20260201T000000Z')
    assert ledger.newest_backup('a', '20250101T000000Z') == ''
    assert ledger.newest_backup('b') == ''


def test_a_second_rollout_is_refused_while_the_first_ones_leader_lives(ledger):
    ledger.begin(os.getpid())
    with pytest.raises(book.LedgerError, match='Another rollout'):
        ledger.begin(os.getpid())


def test_a_dead_leader_holds_nothing(ledger):
    with subprocess.Popen(['sleep', '60']) as leader:
        ledger.begin(leader.pid)
        leader.kill()
    ledger.begin(os.getpid())


def test_another_process_of_the_same_number_is_another(ledger, monkeypatch):
    ledger.begin(os.getpid())
    monkeypatch.setattr(book, '_start_of', lambda pid: 1)
    ledger.begin(os.getpid())


def test_a_restart_of_the_machine_ends_a_rollout(ledger, monkeypatch):
    ledger.begin(os.getpid())
    monkeypatch.setattr(book, '_boot', lambda: 'another')
    ledger.begin(os.getpid())


def test_a_leader_on_another_machine_is_not_taken_for_dead(ledger, monkeypatch):
    ledger.begin(os.getpid())
    monkeypatch.setattr(book.socket, 'gethostname', lambda: 'elsewhere')
    with pytest.raises(book.LedgerError):
        ledger.begin(os.getpid())


def test_the_start_of_a_process_is_read_whatever_its_name_is(tmp_path):
    program = tmp_path / 'a) b (c'
    program.symlink_to('/bin/sleep')
    with subprocess.Popen([str(program), '60']) as process:
        assert book._start_of(process.pid) > 0  # pylint: disable=protected-access
        process.kill()


def test_lists_are_texts_too():
    assert book.listed('a, b,,c') == ['a', 'b', 'c']
    assert book.listed(['a']) == ['a']
    assert book.listed(None) == []


@pytest.mark.parametrize('part, value', [('machine', 'elsewhere'), ('boot', 'another'), ('start', 1), ('pid', 1)])
def test_the_rollout_of_another_leader_is_none_of_ours(ledger, part, value):
    ledger.begin(os.getpid())
    own = book.Ledger(ledger.folder, os.getpid())
    assert own.leads() and own.rollout() == ledger.rollout()
    with open(ledger.path('lock'), encoding='utf-8') as stream:
        lock = json.load(stream)
    with open(ledger.path('lock'), 'w', encoding='utf-8') as stream:
        json.dump(dict(lock, **{part: value}), stream)
    assert (own.leads(), own.rollout()) == (False, None)
    assert ledger.rollout() == lock['rollout']
