'use strict';
// Shows renderings in a real browser and reports what they did there.
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const CHROMIUM = process.env.CHROMIUM_PATH ?? '/usr/bin/chromium';
const ARGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];
const ORIGIN = 'http://render.test';
// Frames of one page; each holds one rendering.
const BATCH = 150;
// What a rendering may consist of.
const ELEMENTS = new Set(('a abbr address article aside b bdi bdo big blockquote br caption center cite code col ' +
  'colgroup dd del dfn div dl dt em figcaption figure font footer h1 h2 h3 h4 h5 h6 header hr i img ins kbd li main ' +
  'mark nav ol p pre q rp rt ruby s samp section small span strike strong style sub sup table tbody td tfoot th thead ' +
  'time tr tt u ul var wbr').split(' '));
const ATTRIBUTES = new Set(('abbr align alt aria-hidden aria-label bgcolor border bordercolor cellpadding cellspacing ' +
  'class clear color colspan data-remote-src datetime dir face frame height hidden href hspace id lang name noshade ' +
  'nowrap rel reversed role rowspan rules scope size span src start style summary target title type valign value ' +
  'vspace width').split(' '));

// The name of what is missing, or null.
function missing() {
  if (!fs.existsSync(CHROMIUM)) {
    return `${CHROMIUM} is not installed`;
  }
  return null;
}

// Runs in every frame before anything else: whatever a script could do shows in `top.hits`.
function hooks() {
  const hit = (what) => {
    try {
      window.top.hits.push(`${window.name}: ${what}`);
    } catch {
      document.title = `hit ${what}`;
    }
  };
  if (window === window.top) {
    window.hits = [];
  }
  for (const name of ['alert', 'confirm', 'prompt', 'print', 'open', 'fetch', 'xss', 'postMessage']) {
    Object.defineProperty(window, name, { value: () => hit(name), writable: false, configurable: false });
  }
  for (const name of ['pwned', 'x55', 'hacked']) {
    Object.defineProperty(window, name, { set: () => hit(name), get: () => undefined });
  }
}

// Runs in the page: everything that can be said about the rendering in one frame.
function inspect(window, { elements, attributes }, { html, checks }) {
  const { document } = window;
  const allowedElements = new Set(elements);
  const allowedAttributes = new Set(attributes);
  const faults = [];
  const box = document.getElementById('box');
  const after = document.getElementById('after');
  if (document.body.children.length !== 3 || document.body.firstElementChild.id !== 'before') {
    faults.push(`leaves its element: ${document.body.children.length} children of the page`);
  }
  if (!after || after.previousElementSibling !== box || after.textContent !== 'after') {
    faults.push('the page behind it has changed');
    return { faults, text: '' };
  }
  for (const id of ['before', 'after']) {
    const style = window.getComputedStyle(document.getElementById(id));
    if (style.color !== 'rgb(1, 2, 3)' || style.display !== 'block' || style.opacity !== '1' ||
        style.visibility !== 'visible' || style.fontSize !== '16px') {
      faults.push(`restyles the page: ${id}`);
    }
    const place = document.getElementById(id).getBoundingClientRect();
    document.getElementById(id).scrollIntoView();
    const shown = document.getElementById(id).getBoundingClientRect();
    const top = document.elementFromPoint(shown.left + 5, shown.top + shown.height / 2);
    if (place.height > 0 && top !== null && top.id !== id) {
      faults.push(`covers the page: ${top.outerHTML.slice(0, 100)}`);
    }
  }
  for (const element of box.querySelectorAll('*')) {
    const name = element.localName;
    if (!allowedElements.has(name) || element.namespaceURI !== 'http://www.w3.org/1999/xhtml') {
      faults.push(`element ${name}`);
    }
    for (const { name: attribute, value } of element.attributes) {
      if (!allowedAttributes.has(attribute)) {
        faults.push(`attribute ${attribute} of ${name}`);
      }
      if (attribute === 'href' && !/^(https?:|mailto:|tel:|#m-)/i.test(value)) {
        faults.push(`link to ${value}`);
      }
      if (attribute === 'src' && !/^data:image\/(png|jpeg|gif|webp|bmp|avif|x-icon);base64,/.test(value)) {
        faults.push(`source ${value}`);
      }
      if (attribute === 'style' && /url|expression|@|</i.test(value)) {
        faults.push(`style ${value}`);
      }
      if (name === 'a' && attribute === 'href' && !value.startsWith('#') &&
          (element.rel !== 'noopener noreferrer' || element.target !== '_blank')) {
        faults.push('link without rel and target');
      }
    }
    const style = window.getComputedStyle(element);
    if (style.position !== 'static' || style.zIndex !== 'auto' || style.transform !== 'none') {
      faults.push(`placed by itself: ${element.outerHTML.slice(0, 100)}`);
    }
  }
  // A line end behind <pre> is lost whenever a browser writes it.
  const written = (element) => element.innerHTML.replace(/(<pre[^>]*>)\n+/g, '$1');
  const copy = document.createElement('div');
  copy.innerHTML = html;
  const twice = document.createElement('div');
  twice.innerHTML = copy.innerHTML;
  if (written(copy) !== written(box) || written(twice) !== written(box)) {
    faults.push(`changes when parsed again: ${box.innerHTML.slice(0, 300)}`);
  }
  for (const check of checks ?? []) {
    const found = [...box.querySelectorAll(check.css)];
    if (found.length < (check.min ?? 1) || found.length > (check.max ?? Infinity)) {
      faults.push(`${check.css}: ${found.length} found`);
      continue;
    }
    if (found.length === 0) {
      continue;
    }
    if (check.attr && !new RegExp(check.val).test(found[0].getAttribute(check.attr) ?? '')) {
      faults.push(`${check.css}: ${check.attr} is ${found[0].getAttribute(check.attr)}`);
    }
    for (const [property, wanted] of Object.entries(check.style ?? {})) {
      const value = window.getComputedStyle(found[0]).getPropertyValue(property);
      if (!new RegExp(wanted).test(value)) {
        faults.push(`${check.css}: ${property} is ${value}`);
      }
    }
  }
  return { faults, text: box.innerText, html: box.innerHTML };
}

// Runs in the page that holds the frames.
function inspectAll(inspectOne, allowed, batch) {
  return batch.map((rendering, index) => {
    const { contentWindow } = document.getElementsByName(`f${index}`)[0];
    try {
      const result = inspectOne(contentWindow, allowed, rendering);
      if (contentWindow.location.href !== 'about:srcdoc') {
        result.faults.push(`went to ${contentWindow.location.href}`);
      }
      return result;
    } catch (error) {
      return { faults: [`the frame is gone: ${error}`], text: '' };
    }
  });
}

const frame = (html) => `<!DOCTYPE html><meta charset=utf-8><style>html{color:rgb(1,2,3)}</style>` +
  `<p id=before>before</p><div id=box style="width:600px">${html}</div><p id=after>after</p>`;

// Opens the browser; `close` ends it.
async function openBrowser() {
  const { chromium } = require('playwright-core');
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-render-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: CHROMIUM, headless: true, args: ARGS, serviceWorkers: 'block', bypassCSP: false,
  });
  return {
    // Shows `{ id, html, checks }` and gives `{ id, faults, text, html }` for each.
    async show(renderings) {
      const results = [];
      for (let from = 0; from < renderings.length; from += BATCH) {
        results.push(...await showBatch(context, renderings.slice(from, from + BATCH)));
      }
      return results;
    },
    // A picture of one rendering as PNG.
    async picture(html, file, width = 900) {
      const tab = await context.newPage();
      await tab.setViewportSize({ width, height: 700 });
      await tab.setContent(`<!DOCTYPE html><meta charset=utf-8><body style="margin:16px">${html}`);
      await tab.screenshot({ path: file, fullPage: true });
      await tab.close();
    },
    async close() {
      await context.close();
      fs.rmSync(profile, { recursive: true, force: true });
    },
  };
}

async function showBatch(context, batch) {
  const tab = await context.newPage();
  const requests = [];
  const dialogs = [];
  tab.on('dialog', (dialog) => {
    dialogs.push(dialog.message());
    dialog.dismiss();
  });
  tab.on('popup', (popup) => dialogs.push(`window ${popup.url()}`));
  await tab.addInitScript(hooks);
  await tab.route('**/*', (route) => {
    const url = route.request().url();
    if (url === `${ORIGIN}/`) {
      return route.fulfill({ contentType: 'text/html', body: '<!DOCTYPE html><meta charset=utf-8>' });
    }
    requests.push(`${url} from ${route.request().frame().name()}`);
    return route.abort();
  });
  await tab.goto(`${ORIGIN}/`);
  await tab.evaluate((documents) => Promise.all(documents.map((document_, index) => new Promise((resolve) => {
    const element = document.createElement('iframe');
    element.name = `f${index}`;
    element.width = 800;
    element.height = 300;
    element.srcdoc = document_;
    element.onload = resolve;
    document.body.append(element);
  }))), batch.map(({ html }) => frame(html)));
  // What starts late (timers, transitions, events of broken pictures) gets its chance.
  await tab.waitForTimeout(300);
  const inspected = await tab.evaluate(`(${inspectAll})(${inspect}, ${JSON.stringify({
    elements: [...ELEMENTS], attributes: [...ATTRIBUTES],
  })}, ${JSON.stringify(batch)})`);
  const hits = await tab.evaluate(() => window.hits);
  const results = batch.map(({ id }, index) => {
    const mine = (line) => line.startsWith(`f${index}:`) || line.endsWith(` from f${index}`);
    const { faults, ...rest } = inspected[index];
    faults.push(...hits.filter(mine).map((hit) => `ran ${hit}`));
    faults.push(...requests.filter(mine).map((request) => `asked for ${request}`));
    return { id, faults, ...rest };
  });
  for (const stray of [...hits, ...requests].filter((line) => !/^f\d+:| from f\d+$/.test(line))) {
    results[0].faults.push(`somewhere in this batch: ${stray}`);
  }
  if (dialogs.length > 0) {
    results[0].faults.push(...dialogs.map((dialog) => `somewhere in this batch: ${dialog}`));
  }
  await tab.close();
  return results;
}

module.exports = { openBrowser, missing, BATCH };
