// Sends what no honest client sends, and looks after each whether the server still serves and nothing left
// its data folder. Runs under with-server with node 20, no packages.
import net from "node:net";
import fs from "node:fs";

const { SERVER_URL, SITE, LIBRARY, ALICE, SERVER_PROCESS } = process.env;
const { hostname, port } = new URL(SERVER_URL);
const token = `Authorization: Bearer ${ALICE}\r\n`;
const host = `Host: ${hostname}:${port}\r\n`;
let failures = 0;
let checks = 0;

function report(name, good, told) {
    ++checks;
    if (!good) ++failures;
    console.log(`${good ? "ok   " : "FAIL "} ${name}  ${told}`);
}

// Sends the pieces and answers the status that comes back; 0 when the connection just ends.
function send(pieces, wait = 20000) {
    return new Promise((resolve) => {
        const socket = net.connect(Number(port), hostname);
        let text = "";
        const end = (status) => { socket.destroy(); resolve(status); };
        const status = () => Number(/^HTTP\/1\.[01] (\d+)/.exec(text)?.[1] ?? 0);
        socket.setTimeout(wait, () => end("silent"));
        socket.on("data", (data) => { text += data.toString("latin1"); });
        socket.on("error", () => end(status()));
        socket.on("close", () => end(status()));
        for (const piece of [pieces].flat()) socket.write(piece);
        socket.end();
    });
}

const api = `${SITE}/_api/web`;
const get = (target, more = "") => `GET ${target} HTTP/1.1\r\n${host}${token}${more}Connection: close\r\n\r\n`;
const post = (target, body, more = "") =>
    `POST ${target} HTTP/1.1\r\n${host}${token}X-RequestDigest: ${digest}\r\n${more}Connection: close\r\nContent-Length: ${Buffer.byteLength(body)}\r\n\r\n${body}`;
const digest = (await (await fetch(`${SERVER_URL}${SITE}/_api/contextinfo`,
    { method: "POST", headers: { Authorization: `Bearer ${ALICE}`, Accept: "application/json;odata=nometadata" } })).json()).FormDigestValue;
const file = (name) => `${api}/GetFileByServerRelativePath(decodedurl='${encodeURIComponent(`${LIBRARY}/${name}`).replaceAll("'", "''")}')`;
const root = `${api}/GetFolderByServerRelativePath(decodedurl='${encodeURIComponent(LIBRARY)}')`;

async function expect(name, pieces, ...allowed) {
    const status = await send(pieces);
    const alive = await send(get(api));
    report(name, allowed.includes(status) && alive === 200, `${status}${alive === 200 ? "" : `, then ${alive}`}`);
}

await expect("add a document", post(`${root}/Files/AddUsingPath(decodedurl='h.txt',overwrite=true)`, "honest"), 200);

await expect("a header of 1 MiB", get(api, `X-Long: ${"a".repeat(1 << 20)}\r\n`), 400, 431, 0);
await expect("100,000 headers", get(api, "X: y\r\n".repeat(100000)), 400, 431, 0);
await expect("an address of 1 MiB", get(`${api}/${"a".repeat(1 << 20)}`), 400, 414, 431, 0);
await expect("no HTTP at all", "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + "\0".repeat(600), 400, 0);
await expect("bare line ends", `GET ${api} HTTP/1.1\n${host.trim()}\n\n`, 400, 401, 0);
await expect("an unknown version", `GET ${api} HTTP/9.9\r\n${host}\r\n`, 400, 505, 0);
await expect("no host", `GET ${api} HTTP/1.1\r\n${token}Connection: close\r\n\r\n`, 200, 400);
await expect("a strange host", `GET ${api} HTTP/1.1\r\nHost: a"b<c>'{}\\\r\n${token}Connection: close\r\n\r\n`, 200, 400);
await expect("an unknown method", `FROB ${api} HTTP/1.1\r\n${host}${token}Connection: close\r\n\r\n`, 400, 403, 405, 501);
await expect("two lengths", `POST ${api} HTTP/1.1\r\n${host}${token}Content-Length: 3\r\nContent-Length: 4\r\n\r\nabcd`, 400, 0);
await expect("a negative length", `POST ${api} HTTP/1.1\r\n${host}${token}Content-Length: -1\r\n\r\n`, 400, 0);
await expect("a length beyond all", `POST ${api} HTTP/1.1\r\n${host}${token}Content-Length: 99999999999999999999999\r\n\r\n`, 400, 413, 0);

const chunks = `PUT ${file("h.txt")}/$value HTTP/1.1\r\n${host}${token}X-RequestDigest: ${digest}\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n`;
await expect("a chunk size that is none", chunks + "zz\r\nabc\r\n0\r\n\r\n", 400, 0);
await expect("a chunk size beyond all", chunks + "ffffffffffffffffff\r\nabc", 400, 413, 0);
await expect("a negative chunk size", chunks + "-5\r\nabc\r\n0\r\n\r\n", 400, 0);
await expect("a chunk that ends early", chunks + "10\r\nabc", 400, 0);
await expect("a chunk without its line end", chunks + "3\r\nabcXX0\r\n\r\n", 400, 0);
await expect("a chunk extension of 1 MiB", chunks + `3;${"x".repeat(1 << 20)}\r\nabc\r\n0\r\n\r\n`, 204, 400, 413, 0);
await expect("length and chunks", chunks.replace("Transfer", "Content-Length: 3\r\nTransfer") + "3\r\nabc\r\n0\r\n\r\n", 204, 400, 0);
const untouched = await (await fetch(SERVER_URL + file("h.txt") + "/$value", { headers: { Authorization: `Bearer ${ALICE}` } })).text();
report("a broken upload changes nothing", ["honest", "abc"].includes(untouched), JSON.stringify(untouched));

for (const path of ["/../../../etc/passwd", "/..%2f..%2f..%2fetc%2fpasswd", "/%2e%2e/%2e%2e/etc/passwd", "/....//....//etc/passwd",
    `${SITE}/Shared%20Documents/../../../data/devserver.db`, `${SITE}/Shared%20Documents/%2e%2e%5c%2e%2e%5cetc`, "//etc/passwd",
    "/%00", `${SITE}/Shared%20Documents/h.txt%00.pdf`, "/%c0%ae%c0%ae/etc/passwd", "/%", "/%zz", "/%f"])
    await expect(`the address ${path}`, get(path), 400, 404, 0);
for (const name of ["../../../x.txt", "..", ".", "a/../../x", "a\0b.txt", "a\\..\\b.txt", "con<>.txt", "a\nb.txt", "\xff\xfe", "x".repeat(5000)])
    await expect(`a document named ${JSON.stringify(name).slice(0, 40)}`,
        post(`${root}/Files/AddUsingPath(decodedurl='${encodeURIComponent(name)}',overwrite=true)`, "x"), 200, 400, 403, 404, 414, 431);
await expect("a document named with broken UTF-8", post(`${root}/Files/AddUsingPath(decodedurl='%ff%fe%c3')`, "x"), 200, 400);
await expect("the list after it", get(`${root}/Files`), 200);

for (const query of ["$expand=" + "Folders/".repeat(2000) + "Files", "$expand=" + "Files,".repeat(2000), "$expand=/////", "$expand=Nonsense",
    "$expand=ListItemAllFields/File/ListItemAllFields/File/ListItemAllFields/File", "$select=*,*,*/*", "$filter=" + "(".repeat(5000), "$filter=Name eq 'a",
    "$filter=" + "not ".repeat(3000) + "true", "$filter=" + "substringof(".repeat(1000), "$filter=Length gt 1e999999", "$top=-1", "$top=99999999999999999999",
    "$skip=-5", "$orderby=Nonsense", "$orderby=", "$orderby=,", "$filter=", "$skiptoken=%00", "@v=@v", "%00=%00", "=&=&&&=",
    "$filter=ListItemAllFields/File/ListItemAllFields/File/ListItemAllFields/File/Name eq 'x'"])
    await expect(`?${query.slice(0, 50)}`, get(`${root}/Files?${query.replaceAll(" ", "%20")}`), 200, 400, 414, 431, 500);
for (const call of ["GetFileById('nonsense')", "GetFileById()", "GetFileByServerRelativePath(decodedurl=@p)", "GetFileByServerRelativePath(decodedurl='", "GetFileByServerRelativePath((((((", "lists('x')",
    "lists/getbytitle('''')", "lists/getbytitle(1)/items(99999999999999999999)", "a/".repeat(3000), "GetFolderByServerRelativePath(decodedurl='/sites/team')/Folders/Folders/Files",
    "GetFolderByServerRelativePath(decodedurl='')", "GetUserById(-1)", "GetUserEffectivePermissions('')"])
    await expect(`the call ${call.slice(0, 50)}`, get(`${api}/${call}`), 200, 400, 404, 414, 431, 500);

const item = `${file("h.txt")}/ListItemAllFields`;
const merge = "X-HTTP-Method: MERGE\r\nIf-Match: *\r\nContent-Type: application/json\r\n";
for (const [name, body] of [["100,000 deep", "[".repeat(100000)], ["deep objects", '{"a":'.repeat(100000)], ["a torn text", '{"Title":"abc'], ["an array", "[1,2]"], ["a bad escape", '{"Title":"\\ud800"}'],
    ["a zero byte", '{"Title":"a\\u0000b"}'], ["broken UTF-8", Buffer.from([0x7b, 0x22, 0x54, 0x22, 0x3a, 0x22, 0xff, 0x22, 0x7d]).toString("latin1")], ["a wrong type", '{"Title":{"a":1}}'],
    ["a number beyond all", '{"Title":1e999}'], ["a path as a name", '{"FileLeafRef":"../../x.txt"}'], ["8 MiB", `{"Title":"${"a".repeat(8 << 20)}"}`]])
    await expect(`JSON: ${name}`, post(item, body, merge), 204, 400, 403, 413, 500, 0);
for (const bad of ["", "0x", "x".repeat(7000), "0xAA,now", `${digest}x`, digest.slice(1), "\xff\xfe"])
    await expect(`the digest ${JSON.stringify(bad).slice(0, 30)}`,
        `POST ${file("h.txt")}/CheckOut() HTTP/1.1\r\n${host}${token}X-RequestDigest: ${bad}\r\nContent-Length: 0\r\nConnection: close\r\n\r\n`, 400, 403, 0);
for (const bad of ["Bearer", "Bearer ", "Bearer " + "x".repeat(7000), "Basic YTpi", "Bearer ' OR 1=1 --", "\xff"])
    await expect(`the token ${JSON.stringify(bad).slice(0, 30)}`, `GET ${api} HTTP/1.1\r\n${host}Authorization: ${bad}\r\nConnection: close\r\n\r\n`, 400, 401, 0);
for (const [name, type, body] of [["without a boundary", "multipart/mixed", "x"], ["an empty boundary", "multipart/mixed; boundary=", "--\r\n\r\n"], ["torn", "multipart/mixed; boundary=b", "--b\r\nContent-Type: application/http\r\n\r\nGET"],
    ["within itself", "multipart/mixed; boundary=b", `--b\r\nContent-Type: application/http\r\n\r\nPOST ${SERVER_URL}${SITE}/_api/$batch HTTP/1.1\r\n\r\n--b--`],
    ["for another host", "multipart/mixed; boundary=b", "--b\r\nContent-Type: application/http\r\n\r\nGET http://elsewhere/x HTTP/1.1\r\n\r\n--b--"],
    ["20,000 parts", "multipart/mixed; boundary=b", "--b\r\n\r\nGET x HTTP/1.1\r\n\r\n".repeat(20000) + "--b--"]])
    await expect(`a batch ${name}`, post(`${SITE}/_api/$batch`, body, `Content-Type: ${type}\r\n`), 200, 400, 413, 500);
for (const range of ["bytes=99-", "bytes=-0", "bytes=5-1", "bytes=--1", "bytes=0-99999999999999999999", "bytes=a-b", "bytes=0-1,2-3", "lines=1-2"])
    await expect(`the range ${range}`, get(`${file("h.txt")}/$value`, `Range: ${range}\r\n`), 200, 206, 416);
await expect("an upload session with a strange name", post(`${file("h.txt")}/StartUpload(uploadId='../../x')`, "x"), 200, 400, 404, 500);
await expect("a piece at a strange place", post(`${file("h.txt")}/ContinueUpload(uploadId=guid'6f9619ff-8b86-d011-b42d-00cf4fc964ff',fileOffset=-1)`, "x"), 400, 404, 500);

const memory = () => Number(/VmRSS:\s+(\d+)/.exec(fs.readFileSync(`/proc/${SERVER_PROCESS}/status`, "utf8"))[1]);
const descriptors = () => fs.readdirSync(`/proc/${SERVER_PROCESS}/fd`).length;
const open = descriptors();
const before = memory();
let served = 0;
for (let i = 0; i < Number(process.env.CONNECTIONS ?? 10000); ++i) served += (await send(get("/_dev/requests/none"))) !== 0 ? 1 : 0;
await new Promise((resolve) => setTimeout(resolve, 300));
report("connections one after the other", served === Number(process.env.CONNECTIONS ?? 10000) && descriptors() <= open + 5,
    `${served} served, memory ${before} -> ${memory()} KiB, descriptors ${open} -> ${descriptors()}`);

// Lines that never end, on fewer connections than the server allows: others are served meanwhile.
const slow = Array.from({ length: 200 }, () => {
    const socket = net.connect(Number(port), hostname);
    socket.on("error", () => {});
    socket.write(`GET ${api} HTTP/1.1\r\n`);
    const drip = setInterval(() => socket.writable && socket.write("X"), 200);
    socket.on("close", () => clearInterval(drip));
    return { socket, end: () => (clearInterval(drip), socket.destroy()) };
});
await new Promise((resolve) => setTimeout(resolve, 1500));
await expect("200 connections that drip", get(api), 200);
const more = Array.from({ length: 200 }, () => net.connect(Number(port), hostname).on("error", () => {}));
await new Promise((resolve) => setTimeout(resolve, 1000));
slow.forEach((one) => one.end());
more.forEach((one) => one.destroy());
await expect("after more connections than allowed", get(api), 200);

console.log(`${checks} checks, ${failures} failed`);
process.exit(failures ? 1 : 0);
