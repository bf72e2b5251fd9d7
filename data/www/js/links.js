// links.js - a node's links: the policies linked on it in their order, which
// are enforced, whether the node blocks what it inherits, and the policies
// that apply here. An edit is planned (what would change on which server,
// and why) before it can be saved; the save carries the record as it was
// read, so an edit made meanwhile by someone else is refused, not lost.

import {call, listAll} from './api.js';
import {el, clear, notice, table} from './dom.js';
import {tree} from './tree.js';

const OU = 2;

function nodeKey(type) {
    return type === OU ? 'ou' : 'peer';
}

function linksOf(rec) {
    const order = rec.linked_gpo && Array.isArray(rec.linked_gpo.order) ? rec.linked_gpo.order : [];
    return order.map(l => ({gpo_id: Number(l.id), override: l.override ? 1 : 0}));
}

function sameLinks(a, b) {
    return JSON.stringify(a) === JSON.stringify(b);
}

export function linkedOn(entry) {
    const where = tree.nodeName(entry.node_type, entry.node_id);
    return entry.node_type === OU ? where : `server ${where}`;
}

function enforcedTag(on) {
    return on ? el('span', {class: 'tag enforced'}, 'enforced') : null;
}

// The policies one may link: all for an administrator; for a delegate, those
// of their view (the only ones they are allowed to list).
async function linkable() {
    try {
        return await listAll('gpo list', {'sort-by': 'name'});
    } catch (e) {
        if (e.status !== 403) throw e;
        const view = await call('view');
        return (view.gpos || []).sort((a, b) => (a.name || '').localeCompare(b.name || ''));
    }
}

export async function linksTab(box, type, id) {
    const key = nodeKey(type);
    let rec = await tree.refresh(type, id);
    const [gpos, order] = await Promise.all([linkable(), call('order', {[key]: id})]);
    const gpoName = new Map(gpos.map(g => [g.id, g.name]));
    let links = linksOf(rec);
    let block = rec.block_inheritance ? 1 : 0;
    let planned = null;  // the edit the shown plan is for

    const editor = el('div', {class: 'links-editor'});
    const planBox = el('div', {class: 'plan', id: 'plan'});
    const result = el('div', {class: 'save-result'});

    const dirty = () => !sameLinks(links, linksOf(rec)) || block !== (rec.block_inheritance ? 1 : 0);
    const edited = () => {
        planned = null;
        clear(planBox);
        clear(result);
        render();
    };
    const move = (i, by) => {
        const j = i + by;
        if (j < 0 || j >= links.length) return;
        [links[i], links[j]] = [links[j], links[i]];
        edited();
    };

    function render() {
        const pick = el('select', {id: 'link-add-gpo', 'aria-label': 'Policy to link'},
            gpos.filter(g => !links.some(l => l.gpo_id === g.id))
                .map(g => el('option', {value: g.id}, `${g.name} (${g.id})`)));
        const rows = links.map((l, i) => el('tr', {dataset: {gpo: l.gpo_id}},
            el('td', {}, String(i + 1)),
            el('td', {}, gpoName.get(l.gpo_id) || `policy ${l.gpo_id}`),
            el('td', {}, el('label', {class: 'check'},
                el('input', {type: 'checkbox', class: 'link-enforced', checked: !!l.override,
                             onchange: e => { l.override = e.target.checked ? 1 : 0; edited(); }}),
                'enforced')),
            el('td', {class: 'actions'},
                el('button', {type: 'button', class: 'small', title: 'Earlier', disabled: i === 0,
                              onclick: () => move(i, -1)}, '↑'),
                el('button', {type: 'button', class: 'small', title: 'Later',
                              disabled: i === links.length - 1, onclick: () => move(i, 1)}, '↓'),
                el('button', {type: 'button', class: 'small danger link-remove',
                              onclick: () => { links.splice(i, 1); edited(); }}, 'Remove'))));
        clear(editor,
            el('h3', {}, 'Linked here'),
            links.length ? el('table', {class: 'links'},
                el('thead', {}, el('tr', {}, ['#', 'Policy', 'Enforced', ''].map(t => el('th', {}, t)))),
                el('tbody', {}, rows)) : el('p', {class: 'muted'}, 'No policy is linked here.'),
            el('div', {class: 'row'},
                pick,
                el('button', {type: 'button', class: 'small', id: 'link-add', disabled: !pick.options.length,
                              onclick: () => {
                                  links.push({gpo_id: Number(pick.value), override: 0});
                                  edited();
                              }}, 'Link')),
            el('label', {class: 'check block'},
                el('input', {type: 'checkbox', id: 'link-block', checked: !!block,
                             onchange: e => { block = e.target.checked ? 1 : 0; edited(); }}),
                'Block policies inherited from above (enforced ones still apply)'),
            el('div', {class: 'row'},
                el('button', {type: 'button', id: 'link-plan', disabled: !dirty(), onclick: plan},
                   'Check what would change'),
                el('button', {type: 'button', id: 'link-save', class: 'primary',
                              disabled: !dirty() || planned === null, onclick: save}, 'Save'),
                el('button', {type: 'button', class: 'link-button', disabled: !dirty(),
                              onclick: () => { links = linksOf(rec); block = rec.block_inheritance ? 1 : 0; edited(); }},
                   'Undo changes')));
    }

    function changes() {
        const out = [];
        if (!sameLinks(links, linksOf(rec))) {
            out.push({op: 'link', [key]: id, links: {order: links}});
        }
        if (block !== (rec.block_inheritance ? 1 : 0)) out.push({op: 'block', [key]: id, value: block});
        return out;
    }

    async function plan() {
        const whatIf = changes();
        const root = type === OU ? id : rec.parent_id;
        clear(planBox, el('p', {class: 'working'}, el('span', {class: 'spinner'}),
                          'Working out the effect on every server below…'));
        try {
            const diff = await call('evaluate', {ou: root, 'all-peers': true, diff: true, 'what-if': whatIf});
            planned = JSON.stringify(whatIf);
            clear(planBox, planView(diff));
        } catch (e) {
            clear(planBox, notice(e.message, 'error'));
        }
        render();
    }

    async function save() {
        if (planned !== JSON.stringify(changes())) return;
        clear(result);
        try {
            if (!sameLinks(links, linksOf(rec))) {
                await call('link', {[key]: id, links: {order: links}, expect: rec});
                rec = await tree.refresh(type, id);
            }
            if (block !== (rec.block_inheritance ? 1 : 0)) {
                await call(type === OU ? 'ou set' : 'peer set', {args: [String(id)], block, expect: rec});
            }
        } catch (e) {
            return refused(e);
        }
        await linksTab(box, type, id);
        box.prepend(notice('Saved.', 'ok'));
        window.dispatchEvent(new CustomEvent('tarn:changed', {detail: {type, id}}));
    }

    function refused(e) {
        if (e.status === 409 && e.answer.current) {
            const current = e.answer.current;
            clear(result, notice(e.message, 'error'),
                el('p', {}, 'Stored now:'),
                storedView(current, gpoName),
                el('button', {type: 'button', id: 'link-reload', onclick: () => linksTab(box, type, id)},
                   'Start again from what is stored'));
        } else if (e.status === 403) {
            clear(result, notice('You may not manage this node: ' + e.message, 'error'));
        } else {
            clear(result, notice(e.message, 'error'));
        }
    }

    render();
    clear(box,
        el('section', {class: 'card'}, editor, planBox, result),
        el('section', {class: 'card'},
            el('h3', {}, 'Policies that apply here, most important first'),
            order.length ? table([
                ['#', (_, i) => String(i + 1)],
                ['Policy', o => o.gpo_name],
                ['Linked on', o => linkedOn(o)],
                ['', o => enforcedTag(o.override === 1)],
            ], order, {class: 'order', id: 'order'}) : el('p', {class: 'muted'}, 'No policy applies here.')));
}

function storedView(current, gpoName) {
    const order = linksOf(current);
    return el('ul', {class: 'stored'},
        order.length ? order.map(l => el('li', {},
            `${gpoName.get(l.gpo_id) || 'policy ' + l.gpo_id}`, enforcedTag(l.override === 1))) :
            el('li', {class: 'muted'}, 'no link'),
        current.block_inheritance ? el('li', {}, el('span', {class: 'tag blocked'}, 'blocks inherited policies')) : null);
}

function winnerText(w) {
    return w ? `${w.gpo_name} (on ${linkedOn(w)}${w.override === 1 ? ', enforced' : ''})` : 'nothing';
}

// What a plan found: each server whose policy would change, set by set, why.
function planView(diff) {
    if (!diff.length) return notice('No server\'s effective policy would change.', 'ok');
    return el('div', {},
        el('h3', {}, `${diff.length} server${diff.length === 1 ? '' : 's'} would change`),
        el('ul', {class: 'plan-list'}, diff.map(p => el('li', {},
            el('strong', {}, tree.nodeName(1, p.peer_id)), ` (${p.sn})`,
            p.moved_out ? ' — moved out of this part of the tree' : '',
            p.sets ? el('ul', {}, p.sets.map(s => el('li', {},
                el('span', {class: 'set'}, s.set), ': ', winnerText(s.before), ' → ', winnerText(s.after),
                el('div', {class: 'why'}, s.reason)))) :
                el('div', {class: 'why'}, `${p.before_error || 'computable'} → ${p.after_error || 'computable'}`)))));
}
