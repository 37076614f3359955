// Compares the keys and value types of the server's answers with recorded ones in the folder REPLAY_CAPTURES.
// Runs under with-server with node 20, no packages; keys that only the recorded answer has are listed.
import fs from "node:fs";

const { SERVER_URL, SITE, LIBRARY, ALICE, REPLAY_CAPTURES } = process.env;
const api = `${SERVER_URL}${SITE}/_api`;
const plain = "application/json;odata=nometadata";
const verbose = "application/json;odata=verbose";
let failures = 0;

async function ask(method, address, accept, body) {
    const headers = { Authorization: `Bearer ${ALICE}`, Accept: accept };
    if (method === "POST" && !address.endsWith("contextinfo"))
        headers["X-RequestDigest"] = (await ask("POST", `${api}/contextinfo`, plain)).FormDigestValue;
    const answer = await fetch(address, { method, headers, body });
    return JSON.parse(await answer.text());
}

const kind = (value) => (value === null ? "null" : Array.isArray(value) ? "array" : typeof value);

function compare(name, place, recorded, own) {
    if (kind(recorded) === "array" || kind(own) === "array") {
        if (kind(recorded) !== kind(own)) return wrong(name, place, recorded, own);
        if (recorded.length && own.length) compare(name, `${place}[]`, recorded[0], own[0]);
        return;
    }
    if (kind(recorded) === "null" || kind(own) === "null") return;
    if (kind(recorded) !== kind(own)) return wrong(name, place, recorded, own);
    if (kind(recorded) !== "object") return;
    const keys = (object) => Object.keys(object).filter((key) => !key.startsWith("vti_"));
    const missing = keys(recorded).filter((key) => !(key in own));
    const extra = keys(own).filter((key) => !(key in recorded));
    if (missing.length) console.log(`note  ${name} ${place}: only recorded: ${missing.join(" ")}`);
    if (extra.length) console.log(`note  ${name} ${place}: only here: ${extra.join(" ")}`);
    for (const key of keys(recorded)) if (key in own) compare(name, `${place}.${key}`, recorded[key], own[key]);
}

function wrong(name, place, recorded, own) {
    ++failures;
    console.log(`FAIL  ${name} ${place}: ${kind(recorded)} recorded, ${kind(own)} here`);
}

const folder = `${api}/web/GetFolderByServerRelativePath(decodedurl='${encodeURIComponent(LIBRARY)}')`;
const file = (name) => `${api}/web/GetFileByServerRelativePath(decodedurl='${encodeURIComponent(`${LIBRARY}/${name}`)}')`;
for (const name of ["a.docx", "b.docx", "c.docx"]) await ask("POST", `${folder}/Files/AddUsingPath(decodedurl='${name}')`, plain, name);
await ask("POST", `${folder}/Folders/AddUsingPath(decodedurl='inner')`, plain);
await ask("POST", `${file("b.docx")}/CheckOut()`, plain);
const documents = `${api}/web/lists/getbytitle('Documents')`;

const rows = [
    ["rest-verbose/spo-file-checked-out.json", "GET", file("b.docx")],
    ["rest-verbose/spo-undocheckout-null.json", "POST", `${file("b.docx")}/UndoCheckOut()`],
    ["rest-verbose/spo-publish-null.json", "POST", `${file("a.docx")}/Publish('x')`],
    ["rest-verbose/spo-copyto-null.json", "POST", `${file("a.docx")}/CopyTo(strnewurl='${encodeURIComponent(LIBRARY)}/d.docx',boverwrite=true)`],
    ["rest-verbose/spo-files-add.json", "POST", `${folder}/Files/AddUsingPath(decodedurl='e.docx',overwrite=true)`],
    ["rest-verbose/spo-folders-collection.json", "GET", `${folder}/Folders`],
    ["rest-verbose/spo-collection-empty.json", "GET", `${folder}/Folders?$filter=Name eq 'none'`],
    ["rest-verbose/spo-files-collection-one.json", "GET", `${folder}/Files?$filter=Name eq 'a.docx'`],
    ["rest-verbose/spo-listitems-page-next.json", "GET", `${documents}/Items?$top=2`],
    ["rest-verbose/spo-site-full.json", "GET", `${api}/site`],
    ["rest-verbose/spo-currentuser.json", "GET", `${api}/web/currentuser`],
    ["errors/verbose-500-user-cannot-be-found.json", "GET", `${api}/web/GetUserById(999)`],
    ["rest-nometadata/spo-file-never-published-draft.json", "GET", file("a.docx")],
    ["rest-nometadata/spo-file-author-modifiedby.json", "GET", `${file("a.docx")}?$expand=Author,ModifiedBy`],
    ["rest-nometadata/spo-file-properties-vti.json", "GET", `${file("a.docx")}?$expand=Properties`],
    ["rest-nometadata/spo-file-listitemallfields.json", "GET", `${file("a.docx")}?$expand=ListItemAllFields`],
    ["rest-nometadata/spo-null-result.json", "POST", `${file("c.docx")}/CheckOut()`],
    ["rest-nometadata/spo-folder.json", "GET", folder],
    ["rest-nometadata/spo-folders-collection.json", "GET", `${folder}/Folders`],
    ["rest-nometadata/spo-folder-expand-files.json", "GET", `${folder}?$expand=Files`],
    ["rest-nometadata/spo-list-doclib.json", "GET", documents],
    ["rest-nometadata/spo-users.json", "GET", `${api}/web?$select=SiteUsers,Id&$expand=SiteUsers`],
    ["rest-nometadata/spo-effective-permissions.json", "GET", `${api}/web/getUserEffectivePermissions(@u)?@u='alice'`],
    ["rest-nometadata/spo-items-nextlink.json", "GET", `${documents}/Items?$top=2`],
    ["errors/nometadata-404-file-does-not-exist.json", "GET", file("none")],
    ["errors/nometadata-404-list-does-not-exist.json", "GET", `${api}/web/lists/getbytitle('none')`],
    ["errors/nometadata-500-user-cannot-be-found.json", "GET", `${api}/web/GetUserById(999)`],
    ["errors/nometadata-400-specified-user-not-found.json", "POST", `${api}/web/EnsureUser('nobody')`],
];
for (const [name, method, address] of rows) {
    const recorded = JSON.parse(fs.readFileSync(`${REPLAY_CAPTURES}/${name}`, "utf8"));
    const own = await ask(method, address, /verbose/.test(name) ? verbose : plain);
    const code = (body) => (body["odata.error"] ?? body.error)?.code;
    if (code(recorded) !== code(own)) {
        ++failures;
        console.log(`FAIL  ${name}: ${code(recorded)} recorded, ${code(own)} here`);
    }
    compare(name, "", recorded, own);
}
console.log(`${rows.length} answers compared, ${failures} differ`);
process.exit(failures ? 1 : 0);
