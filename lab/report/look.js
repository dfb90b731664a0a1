// What browser.py asks the open page. The page itself has no scripts.

// Opens the cell with the most to show, as a reader does: by its link in the matrix.
function openCell() {
    const size = (link) => document.querySelector(link.hash).textContent.length;
    const links = [...document.querySelectorAll(".matrix td a")];
    links.reduce((best, link) => (size(link) > size(best) ? link : best)).click();
}

// What is wrong with the page, as sentences.
function look() {
    const problems = [];
    const say = (wrong, sentence) => wrong && problems.push(sentence);
    const opened = location.hash ? document.querySelector(location.hash) : null;
    say(document.scripts.length, "the page has scripts");
    say(location.hash && !(opened && opened.offsetHeight), "the cell did not open");
    say(document.documentElement.scrollWidth > innerWidth, "the page is wider than its window");
    const ids = [...document.querySelectorAll("[id]")].map((element) => element.id);
    say(new Set(ids).size !== ids.length, "an id stands twice");
    for (const link of document.querySelectorAll("a[href^='#']")) {
        say(!document.getElementById(link.hash.slice(1)), `the link ${link.hash} leads nowhere`);
    }
    for (const table of document.querySelectorAll("table")) {
        say(!table.caption || table.querySelector("th:not([scope])"), "a table lacks its caption or a scope");
    }
    return problems.concat([...new Set(faintTexts())]);
}

// Texts whose contrast with what lies behind them is below WCAG's AA.
function faintTexts() {
    const faint = [];
    for (const element of document.querySelectorAll("body *:not(svg *)")) {
        const own = [...element.childNodes].some((node) => node.nodeType === Node.TEXT_NODE && node.data.trim());
        if (own && element.checkVisibility() && element.className !== "unseen") {
            const ratio = contrast(getComputedStyle(element).color, ground(element));
            if (ratio < 4.5) {
                faint.push(`contrast ${ratio.toFixed(1)} of <${element.localName} class="${element.className}">`);
            }
        }
    }
    return faint;
}

function ground(element) {
    for (let at = element; at; at = at.parentElement) {
        const colour = getComputedStyle(at).backgroundColor;
        if (!colour.endsWith(", 0)")) {
            return colour;
        }
    }
    return "rgb(255, 255, 255)";
}

function contrast(one, other) {
    const [light, dark] = [luminance(one), luminance(other)].sort((a, b) => b - a);
    return (light + 0.05) / (dark + 0.05);
}

function luminance(colour) {
    const [red, green, blue] = colour.match(/[\d.]+/g).map((value) => {
        const part = value / 255;
        return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}
