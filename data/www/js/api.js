// api.js - the console's only way to the server: sign-in, the session and
// the commands under /api/, with the session's CSRF token on every write.

let csrf = '';
let pending = 0;
let busyTimer = 0;
const listeners = {signedOut: () => {}, busy: () => {}};

export class ApiError extends Error {
    constructor(status, answer) {
        super((answer && answer.error) || `the server answered ${status}`);
        this.status = status;
        this.answer = answer || {};
    }
}

export function on(event, fn) {
    listeners[event] = fn;
}

// The busy mark shows only for work that takes a moment, so quick clicks do
// not flicker.
function started() {
    if (pending++ === 0) busyTimer = setTimeout(() => listeners.busy(true), 250);
}

function finished() {
    if (--pending === 0) {
        clearTimeout(busyTimer);
        listeners.busy(false);
    }
}

async function request(method, path, body) {
    const headers = {'Accept': 'application/json'};
    if (body !== undefined) headers['Content-Type'] = 'application/json';
    if (method === 'POST' && csrf) headers['X-CSRF-Token'] = csrf;
    started();
    try {
        const res = await fetch(path, {
            method, headers, credentials: 'same-origin', cache: 'no-store',
            body: body === undefined ? undefined : JSON.stringify(body),
        });
        let answer = null;
        try {
            answer = await res.json();
        } catch (e) {
            answer = {error: `the server answered ${res.status} without JSON`};
        }
        if (!res.ok) throw new ApiError(res.status, answer);
        return answer;
    } catch (e) {
        if (e instanceof ApiError) throw e;
        throw new ApiError(0, {error: 'the server cannot be reached: ' + e.message});
    } finally {
        finished();
    }
}

function keep(answer) {
    csrf = answer.csrf || '';
    const {csrf: _, ...who} = answer;
    return who;
}

// The signed-in user ({user, admin, expires}) or null.
export async function session() {
    try {
        return keep(await request('GET', '/api/session'));
    } catch (e) {
        if (e.status === 401) return null;
        throw e;
    }
}

export async function signIn(user, password) {
    return keep(await request('POST', '/api/signin', {user, password}));
}

export async function signOut() {
    try {
        await request('POST', '/api/signout', {});
    } finally {
        csrf = '';
    }
}

// One command: "ou list" with its options as the CLI names them, without
// "--"; positionals go in args. Answers the command's JSON.
export async function call(command, options = {}) {
    try {
        return await request('POST', '/api/' + command.trim().split(/\s+/).join('/'), options);
    } catch (e) {
        if (e.status === 401) {
            csrf = '';
            listeners.signedOut();
        }
        throw e;
    }
}

// Every row of a list command, read a page at a time; progress(count) after
// each page so a big tree shows how far the reading has come.
export async function listAll(command, options, progress, pageSize = 500) {
    const rows = [];
    for (let offset = 0; ; offset += pageSize) {
        const page = await call(command, {...options, limit: pageSize, offset});
        const items = Array.isArray(page) ? page : page.items || [];
        rows.push(...items);
        if (progress) progress(rows.length);
        if (items.length < pageSize) return rows;
    }
}
