// log.js - the event log in the reader's language, searched by a word in
// all fields, the user names or the actions, a page at a time. A delegated
// user gets only the rows of their part of the tree from the server.

import {call} from './api.js';
import {el, clear, notice, pager, table, when} from './dom.js';

// The event log's languages, by the browser's language tags.
const LANGS = [
    ['enu', 'English', 'en'], ['ger', 'Deutsch', 'de'], ['fre', 'Français', 'fr'],
    ['ita', 'Italiano', 'it'], ['spn', 'Español', 'es'], ['nld', 'Nederlands', 'nl'],
    ['sve', 'Svenska', 'sv'], ['dan', 'Dansk', 'da'], ['nor', 'Norsk', 'nb no nn'],
    ['plk', 'Polski', 'pl'], ['csy', 'Čeština', 'cs'], ['hun', 'Magyar', 'hu'],
    ['trk', 'Türkçe', 'tr'], ['rus', 'Русский', 'ru'], ['ptb', 'Português (Brasil)', 'pt-br'],
    ['ptg', 'Português', 'pt'], ['jpn', '日本語', 'ja'], ['krn', '한국어', 'ko'],
    ['chs', '简体中文', 'zh zh-cn zh-sg zh-hans'], ['cht', '繁體中文', 'zh-tw zh-hk zh-mo zh-hant'],
];
const PAGE = 50;

export function userLang() {
    const saved = localStorage.getItem('tarn.lang');
    if (saved && LANGS.some(([code]) => code === saved)) return saved;
    for (const tag of navigator.languages || [navigator.language || 'en']) {
        const t = tag.toLowerCase();
        for (const candidate of [t, t.split('-')[0]]) {
            const hit = LANGS.find(([, , tags]) => tags.split(' ').includes(candidate));
            if (hit) return hit[0];
        }
    }
    return 'enu';
}

export function langSelect(onChange) {
    const current = userLang();
    return el('select', {id: 'lang', 'aria-label': 'Language of the log',
                         onchange: e => { localStorage.setItem('tarn.lang', e.target.value); onChange(e.target.value); }},
        LANGS.map(([code, name]) => el('option', {value: code, selected: code === current}, name)));
}

const SEVERITY = {error: 'error', warning: 'warning'};

export async function logPage(page) {
    const state = {word: '', field: 'all', offset: 0};
    const rows = el('div', {id: 'log-rows'});
    const word = el('input', {type: 'search', id: 'log-word', placeholder: 'Search', 'aria-label': 'Search'});
    const field = el('select', {id: 'log-field', 'aria-label': 'Search in'},
        el('option', {value: 'all'}, 'all fields'), el('option', {value: 'username'}, 'user names'),
        el('option', {value: 'action'}, 'actions'));
    const form = el('form', {class: 'row filters', onsubmit: e => {
        e.preventDefault();
        state.word = word.value.trim();
        state.field = field.value;
        state.offset = 0;
        load();
    }}, word, field, el('button', {type: 'submit'}, 'Search'),
        langSelect(() => load()));

    async function load() {
        const options = {lang: userLang(), 'desc-order': true, 'sort-by': 'id', limit: PAGE, offset: state.offset};
        if (state.word) Object.assign(options, {word: state.word, field: state.field});
        let j;
        try {
            j = await call('log list', options);
        } catch (e) {
            clear(rows, notice(e.message, 'error'));
            return;
        }
        const go = o => { state.offset = o; load(); };
        clear(rows,
            el('p', {class: 'counts'}, `${j.total} rows · ${j.error} errors · ${j.warning} warnings · ${j.information} information`),
            j.items.length ? table([
                ['Time', r => when(r.happen_time)],
                ['Severity', r => el('span', {class: 'sev ' + (SEVERITY[r.level_name] || 'info')}, r.severity)],
                ['User', r => r.username || '—'],
                ['Event', r => r.message],
            ], j.items, {class: 'log'}) : el('p', {class: 'muted'}, 'No row.'),
            pager(state.offset, PAGE, j.items.length, j.total, go));
    }

    clear(page, el('h2', {}, 'Event log'), form, rows);
    await load();
}
