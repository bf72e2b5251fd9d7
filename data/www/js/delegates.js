// delegates.js - who manages a node besides the administrators: its
// delegated users and groups, added and removed as one list, so a change
// made meanwhile by someone else is refused rather than overwritten.

import {call} from './api.js';
import {el, clear, notice, table} from './dom.js';

const USER = 8;

function nameOf(d) {
    return (d.extra_info && d.extra_info.userNameCache) || `#${d.ugid}`;
}

export async function delegatesTab(box, type, id) {
    const key = type === 2 ? 'ou' : 'peer';
    const list = await call('delegates list', {[key]: id});
    const result = el('div', {class: 'save-result'});

    async function store(users, groups) {
        clear(result);
        try {
            await call('delegates set', {[key]: id, users: users.join(','), groups: groups.join(','), expect: list});
        } catch (e) {
            if (e.status === 409 && Array.isArray(e.answer.current)) {
                clear(result, notice(e.message, 'error'),
                    el('p', {}, 'Managing it now: ' + (e.answer.current.map(nameOf).join(', ') || 'nobody')),
                    el('button', {type: 'button', onclick: () => delegatesTab(box, type, id)}, 'Reload'));
            } else {
                clear(result, notice(e.status === 403 ? 'You may not manage this node: ' + e.message : e.message, 'error'));
            }
            return;
        }
        await delegatesTab(box, type, id);
    }

    const users = list.filter(d => d.user_type === USER).map(nameOf);
    const groups = list.filter(d => d.user_type !== USER).map(nameOf);
    const remove = d => {
        const keepOut = x => x !== nameOf(d);
        return d.user_type === USER ? store(users.filter(keepOut), groups) : store(users, groups.filter(keepOut));
    };
    const kind = el('select', {id: 'delegate-kind', 'aria-label': 'User or group'},
        el('option', {value: 'user'}, 'user'), el('option', {value: 'group'}, 'group'));
    const name = el('input', {id: 'delegate-name', placeholder: 'name', required: true, 'aria-label': 'Name'});
    const add = e => {
        e.preventDefault();
        const n = name.value.trim();
        if (!n) return;
        return kind.value === 'user' ? store([...users, n], groups) : store(users, [...groups, n]);
    };

    clear(box, el('section', {class: 'card'},
        el('h3', {}, 'Who manages it'),
        el('p', {class: 'muted'}, 'Administrators manage every node. Delegates manage this node and what lies below it.'),
        list.length ? table([
            ['Kind', d => d.user_type === USER ? 'user' : 'group'],
            ['Name', nameOf],
            ['Domain', d => (d.extra_info && d.extra_info.domainName) || ''],
            ['', d => el('button', {type: 'button', class: 'small danger delegate-remove', dataset: {name: nameOf(d)},
                                    onclick: () => remove(d)}, 'Remove')],
        ], list, {class: 'delegates', id: 'delegates'}) : el('p', {class: 'muted', id: 'delegates'}, 'No delegate.'),
        el('form', {class: 'row', id: 'delegate-add', onsubmit: add}, kind, name, el('button', {type: 'submit'}, 'Add')),
        result));
}
