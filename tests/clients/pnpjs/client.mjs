// Works with a library through PnPjs as its documentation shows, and says of each call what came of it.
// client.mjs bearer|digest, under with-server; exit status 1 when anything came out wrong.
import assert from "node:assert/strict";
import { createHash, randomBytes } from "node:crypto";
import { spfi, DefaultHeaders, DefaultInit, RequestDigest } from "@pnp/sp";
import { BearerToken, BrowserFetch, DefaultParse, InjectHeaders } from "@pnp/queryable";
import "@pnp/sp/webs/index.js";
import "@pnp/sp/sites/index.js";
import "@pnp/sp/files/index.js";
import "@pnp/sp/folders/index.js";
import "@pnp/sp/lists/index.js";
import "@pnp/sp/items/index.js";
import "@pnp/sp/fields/index.js";
import "@pnp/sp/site-users/index.js";
import "@pnp/sp/security/index.js";
import "@pnp/sp/context-info/index.js";
import { createBatch } from "@pnp/sp/batching.js";
import { folderFromServerRelativePath } from "@pnp/sp/folders/index.js";
import { PermissionKind } from "@pnp/sp/security/index.js";

const { SERVER_URL, SITE, LIBRARY, ALICE, BOB, CAROL } = process.env;
const mode = process.argv[2] ?? "bearer";

// PnPjs leaves the digest out where it sees an Authorization header, so the token comes later here. It also
// keeps one digest per site whoever asks, so the others bring theirs along.
function lateBearer(token, ownDigest) {
    return (instance) => {
        instance.on.send.replace(async (url, init) => {
            const headers = { ...init.headers, Authorization: `Bearer ${token}` };
            if (ownDigest && init.method !== "GET") headers["X-RequestDigest"] = await digestOf(token);
            return fetch(url.toString(), { ...init, headers });
        });
        return instance;
    };
}

async function digestOf(token) {
    const answer = await fetch(`${SERVER_URL}${SITE}/_api/contextinfo`,
        { method: "POST", headers: { Authorization: `Bearer ${token}`, Accept: "application/json;odata=nometadata" } });
    return (await answer.json()).FormDigestValue;
}

function connect(token, ...more) {
    const sp = spfi(SERVER_URL + SITE).using(DefaultHeaders(), DefaultInit(), BrowserFetch(), DefaultParse());
    if (mode !== "digest") return sp.using(BearerToken(token), ...more);
    return token === ALICE ? sp.using(RequestDigest(), lateBearer(token, false), ...more)
                           : sp.using(lateBearer(token, true), ...more);
}

const alice = connect(ALICE);
const bob = connect(BOB);
const carol = connect(CAROL);

let calls = 0;
let failures = 0;
async function step(name, work) {
    ++calls;
    try {
        const result = await work();
        const text = result === undefined ? "" : JSON.stringify(result);
        console.log(`ok    ${name}${text ? "  " + text.slice(0, 110) : ""}`);
        return result;
    } catch (error) {
        ++failures;
        console.log(`FAIL  ${name}  ${String(error.message).slice(0, 700)}`);
    }
}

// The status and the code of a refusal.
async function refused(work, status, code) {
    let error;
    try {
        await work();
    } catch (caught) {
        error = caught;
    }
    assert.ok(error?.isHttpRequestError, `not refused: ${error}`);
    const body = await error.response.json();
    const told = (body["odata.error"] ?? body.error).code;
    assert.equal(error.status, status, told);
    assert.ok(told.startsWith(code), `${told} instead of ${code}`);
    return `${status} ${told}`;
}

const path = (name) => `${LIBRARY}/by pnpjs/${name}`;
const file = (name, sp = alice) => sp.web.getFileByServerRelativePath(path(name));
// Made anew for each call, since a selection stays with the object it was made on.
const library = () => alice.web.getFolderByServerRelativePath(LIBRARY);
const folder = () => alice.web.getFolderByServerRelativePath(`${LIBRARY}/by pnpjs`);

async function site() {
    await step("web", async () => assert.equal((await alice.web()).Url, SERVER_URL + SITE));
    await step("web, two properties", async () =>
        assert.deepEqual(Object.keys(await alice.web.select("Title", "Url")()).filter((k) => !k.startsWith("odata")), ["Title", "Url"]));
    await step("site", async () => assert.match((await alice.site()).Url, /^http/));
    await step("context info", async () => (await alice.web.getContextInfo()).WebFullUrl);
    await step("current user", async () => assert.match((await alice.web.currentUser()).LoginName, /alice@/));
    await step("users", async () => assert.ok((await alice.web.siteUsers()).length >= 3));
    await step("user by id", async () => (await alice.web.getUserById((await alice.web.currentUser()).Id)()).Title);
    await step("ensure user", async () => (await alice.web.ensureUser((await bob.web.currentUser()).LoginName)).LoginName ?? "");
    await step("root folders", async () => assert.ok((await alice.web.folders()).length > 0));
    await step("lists", async () => (await alice.web.lists.select("Title", "Id", "BaseTemplate")()).map((l) => l.Title));
    await step("libraries by filter", async () => assert.ok((await alice.web.lists.filter("BaseTemplate eq 101 and Hidden eq false")()).length >= 1));
    await step("default library", async () => (await alice.web.defaultDocumentLibrary.select("Title")()).Title);
    await step("may edit", async () => assert.ok(await alice.web.currentUserHasPermissions(PermissionKind.EditListItems)));
    await step("carol may not edit", async () => assert.ok(!(await carol.web.currentUserHasPermissions(PermissionKind.EditListItems))));
    await step("user permissions", async () => alice.web.getUserEffectivePermissions((await carol.web.currentUser()).LoginName));
}

async function mainJob() {
    await step("add a folder", async () => (await library().folders.addUsingPath("by pnpjs")).ServerRelativeUrl);
    await step("add an inner folder", async () => { await folder().addSubFolderUsingPath("inner"); });
    await step("folder", async () => (await folder().select("Name", "ItemCount")()).Name);
    await step("folder by path, stand-alone", async () =>
        (await folderFromServerRelativePath(alice.web, LIBRARY + "/by pnpjs")()).UniqueId);
    await step("parent folder", async () => assert.equal((await folder().parentFolder()).ServerRelativeUrl, LIBRARY));
    await step("folder's item", async () => (await folder().getItem()).Id);
    await step("folder's parents", async () => (await folder().getParentInfos()).ParentList.RootFolderServerRelativeUrl);
    await step("folder's properties", async () => Object.keys(await folder().properties()).length);
    await step("storage metrics", async () => folder().storageMetrics());
    await step("add a file", async () => (await folder().files.addUsingPath("a.txt", "first", { Overwrite: true })).ServerRelativeUrl);
    await step("add with a free name", async () => {
        const again = await folder().files.addUsingPath("a.txt", "second", { EnsureUniqueFileName: true });
        assert.notEqual(again.Name, "a.txt");
        assert.equal(await file("a.txt").getText(), "first");
        return again.Name;
    });
    await step("exists", async () => assert.equal(await file("a.txt").exists(), true));
    await step("doesn't exist", async () => assert.equal(await file("none.txt").exists(), false));
    await step("text", async () => assert.equal(await file("a.txt").getText(), "first"));
    await step("bytes", async () => assert.equal((await file("a.txt").getBuffer()).byteLength, 5));
    await step("blob", async () => assert.equal((await file("a.txt").getBlob()).size, 5));
    await step("JSON", async () => {
        await folder().files.addUsingPath("a.json", '{"a":[1,2]}', { Overwrite: true });
        assert.deepEqual(await file("a.json").getJSON(), { a: [1, 2] });
    });
    await step("check-out", () => file("a.txt").checkout());
    await step("who has it", async () => assert.match((await file("a.txt").expand("CheckedOutByUser")()).CheckedOutByUser.LoginName, /alice@/));
    await step("write", async () => { await file("a.txt").setContent("second"); assert.equal(await file("a.txt").getText(), "second"); });
    await step("check-in with a comment", async () => {
        await file("a.txt").checkin("it's 100% #done & über", 1);
        const { CheckInComment, UIVersionLabel, CheckOutType } = await file("a.txt")();
        assert.deepEqual([CheckInComment, UIVersionLabel, CheckOutType], ["it's 100% #done & über", "1.0", 2]);
    });
    await step("undo a check-out", async () => {
        await file("a.txt").checkout();
        await file("a.txt").setContent("to be thrown away");
        await file("a.txt").undoCheckout();
        assert.equal(await file("a.txt").getText(), "second");
    });
    await step("minor and overwriting check-in", async () => {
        await file("a.txt").checkout();
        await file("a.txt").setContent("third");
        await file("a.txt").checkin("minor", 0);
        await file("a.txt").checkout();
        await file("a.txt").setContent("fourth");
        await file("a.txt").checkin("over", 2);
        assert.equal((await file("a.txt").select("UIVersionLabel")()).UIVersionLabel, "1.1");
    });
    await step("publish, unpublish", async () => {
        await file("a.txt").publish("for all");
        assert.equal((await file("a.txt")()).UIVersionLabel, "2.0");
        await file("a.txt").unpublish("not for all");
    });
    await step("versions", async () => {
        const versions = await file("a.txt").versions();
        assert.ok(versions.length >= 2);
        return versions.map((v) => v.VersionLabel);
    });
    await step("version by id", async () => assert.equal((await file("a.txt").versions.getById(512)()).VersionLabel, "1.0"));
    await step("version's text", async () => assert.equal(await file("a.txt").versions.getById(512).getText(), "second"));
    await step("restore a version", async () => {
        await file("a.txt").versions.restoreByLabel("1.0");
        assert.equal(await file("a.txt").getText(), "second");
    });
    await step("delete a version", async () => file("a.txt").versions.deleteByLabel("1.0"));
    await step("recycle a version", async () => {
        const [first] = await file("a.txt").versions();
        await file("a.txt").versions.recycleByID(first.ID);
    });
    await step("locked by nobody", async () => assert.equal(await file("a.txt").getLockedByUser(), null));
    await step("selected and expanded list", async () => {
        const [found] = await folder().files.select("Name", "Author/Title", "ListItemAllFields/Id").expand("Author", "ListItemAllFields")
            .filter("Name eq 'a.txt'")();
        assert.ok(found.Author.Title && found.ListItemAllFields.Id > 0);
    });
    await step("ordered list", async () => (await folder().files.orderBy("Name", false).top(2)()).map((f) => f.Name));
    await step("skipped list", async () => assert.equal((await folder().files.skip(1)()).length, (await folder().files()).length - 1));
    await step("file by name", async () => (await folder().files.getByUrl("a.txt")()).UniqueId);
    await step("file by id", async () => (await alice.web.getFileById((await file("a.txt")()).UniqueId)()).Name);
    await step("folder by id", async () => (await alice.web.getFolderById((await folder()()).UniqueId)()).Name);
    await step("file by absolute address", async () => (await alice.web.getFileByUrl(SERVER_URL + encodeURI(path("a.txt")))()).Name);
}

async function items() {
    const documents = alice.web.lists.getByTitle("Documents");
    await step("list", async () => { const l = await documents(); return [l.Id, l.ItemCount]; });
    await step("list by id", async () => (await alice.web.lists.getById((await documents()).Id)()).Title);
    await step("list by address", async () => (await alice.web.getList(LIBRARY)()).Title);
    await step("list's root folder", async () => assert.equal((await documents.rootFolder()).ServerRelativeUrl, LIBRARY));
    await step("fields", async () => assert.ok((await documents.fields.select("InternalName", "TypeAsString")()).length > 3));
    await step("field", async () => (await documents.fields.getByInternalNameOrTitle("Title")()).TypeAsString);
    await step("file's item", async () => (await file("a.txt").getItem()).Id);
    await step("update an item", async () => {
        const item = await file("a.txt").getItem();
        await item.update({ Title: 'a "title" äß🙂' });
        assert.equal((await item.select("Title")()).Title, 'a "title" äß🙂');
    });
    await step("validated update", async () => {
        const item = await file("a.txt").getItem();
        const told = await item.validateUpdateListItem([{ FieldName: "Title", FieldValue: "validated" }]);
        assert.equal((await item.select("Title")()).Title, "validated");
        return told;
    });
    await step("item by id", async () => (await documents.items.getById((await file("a.txt").getItem()).Id)()).GUID ?? "");
    await step("items, filtered", async () => (await documents.items.select("Id", "FileLeafRef").filter("FileLeafRef eq 'a.txt'")()).length);
    await step("items in pages", async () => {
        let pages = 0;
        let count = 0;
        for await (const page of documents.items.top(2)) ++pages, count += page.length;
        assert.ok(pages > 1 && count > 2);
        return [pages, count];
    });
    await step("item's file", async () => {
        const { Id } = await file("a.txt").getItem();
        const { File } = await documents.items.getById(Id).select("File/Name").expand("File")();
        assert.equal(File.Name, "a.txt");
    });
    await step("permissions of an item", async () => (await file("a.txt").getItem()).getCurrentUserEffectivePermissions());
}

async function uploads() {
    const bytes = randomBytes(12 * 1024 * 1024 + 17);
    const hash = (data) => createHash("sha256").update(Buffer.from(data)).digest("hex");
    await step("add 12 MiB in one", async () => {
        await folder().files.addUsingPath("one.bin", bytes, { Overwrite: true });
        assert.equal(hash(await file("one.bin").getBuffer()), hash(bytes));
    });
    await step("add 12 MiB in pieces", async () => {
        const stages = [];
        const added = await folder().files.addChunked("pieces.bin", new Blob([bytes]), { progress: (p) => stages.push(p.stage), Overwrite: true });
        assert.equal(added.Length, String(bytes.length));
        assert.equal(hash(await file("pieces.bin").getBuffer()), hash(bytes));
        return stages;
    });
    await step("write in small pieces", async () => {
        const stages = [];
        await file("pieces.bin").setContentChunked(new Blob([bytes]), { progress: (p) => stages.push(p.stage), chunkSize: 2 ** 21 });
        assert.equal(hash(await file("pieces.bin").getBuffer()), hash(bytes));
        assert.ok(stages.filter((s) => s === "continue").length >= 4);
    });
    await step("a piece that is the whole", async () => {
        await file("pieces.bin").setContentChunked(new Blob(["small"]), {});
        assert.equal(await file("pieces.bin").getText(), "small");
    });
    await step("cancel an upload", async () => file("pieces.bin").cancelUpload("6f9619ff-8b86-d011-b42d-00cf4fc964ff"));
}

async function names() {
    for (const name of ["a#b.txt", "100% + more.txt", "it's ''quoted''.txt", "R&D+[x] (1).txt", "größe é.txt", "文書 報告.txt", "🙂 ok.txt", "%41.txt"]) {
        await step(`everything with ${name}`, async () => {
            await folder().folders.addUsingPath("in " + name);
            const added = await folder().files.addUsingPath(name, "in " + name, { Overwrite: true });
            assert.equal(added.Name, name);
            assert.equal(await file(name).getText(), "in " + name);
            assert.ok((await folder().files.select("Name")()).some((f) => f.Name === name));
            assert.ok((await folder().folders.select("Name")()).some((f) => f.Name === "in " + name));
            await file(name).setContent("new " + name);
            const item = await file(name).getItem("FileLeafRef", "Id");
            assert.equal(item.FileLeafRef, name);
            await file(name).copyByPath(path("in " + name + "/copy " + name), true, { KeepBoth: false });
            await file("in " + name + "/copy " + name).moveByPath(path("moved " + name), true);
            assert.equal(await file("moved " + name).getText(), "new " + name);
            await file("moved " + name).checkout();
            await file("moved " + name).checkin(name, 0);
            assert.equal((await file("moved " + name)()).CheckInComment, name);
            await file("moved " + name).delete();
            assert.equal(await file("moved " + name).exists(), false);
            await file(name).recycle();
            await folder().folders.getByUrl("in " + name).recycle();
        });
    }
}

async function placement() {
    await step("copy to", async () => { await file("a.txt").copyTo(path("b.txt"), false); assert.ok(await file("b.txt").exists()); });
    await step("copy onto one that is there", () => refused(() => file("a.txt").copyTo(path("b.txt"), false), 400, "-2130575257"));
    await step("copy by path, keep both", async () => {
        await file("a.txt").copyByPath(path("b.txt"), false, { KeepBoth: true });
        return (await folder().files.select("Name")()).map((f) => f.Name);
    });
    await step("move by path", async () => {
        await file("b.txt").moveByPath(path("inner/c.txt"), false);
        assert.ok(!(await file("b.txt").exists()) && (await file("inner/c.txt").exists()));
    });
    await step("copy a folder", async () => {
        await alice.web.getFolderByServerRelativePath(path("inner")).copyByPath(path("inner 2"));
        assert.ok(await file("inner 2/c.txt").exists());
    });
    await step("move a folder", async () => {
        await alice.web.getFolderByServerRelativePath(path("inner 2")).moveByPath(path("inner 3"));
        assert.ok(await file("inner 3/c.txt").exists());
    });
    await step("rename through the item", async () => {
        const item = await file("inner 3/c.txt").getItem();
        await item.update({ FileLeafRef: "renamed.txt" });
        assert.ok(await file("inner 3/renamed.txt").exists());
    });
    await step("delete with its ETag", async () => {
        const { ETag } = await file("inner 3/renamed.txt")();
        await refused(() => file("inner 3/renamed.txt").delete('"{00000000-0000-0000-0000-000000000000},1"'), 412, "-1, ");
        await file("inner 3/renamed.txt").delete(ETag);
    });
    await step("delete with parameters", async () => {
        await folder().files.addUsingPath("gone.txt", "x");
        await file("gone.txt").deleteWithParams({ BypassSharedLock: true });
        assert.ok(!(await file("gone.txt").exists()));
    });
    await step("delete a folder", async () => alice.web.getFolderByServerRelativePath(path("inner 3")).delete());
    await step("recycle a folder", async () => alice.web.getFolderByServerRelativePath(path("inner")).recycle());
}

async function batches() {
    await step("a batch of reads", async () => {
        const [batched, execute] = alice.batched();
        const answers = [batched.web.select("Title")(), batched.web.currentUser(), batched.web.lists()];
        await execute();
        const [web, user, lists] = await Promise.all(answers);
        assert.ok(web.Title && user.LoginName && lists.length);
    });
    await step("a batch of changes", async () => {
        const [batched, execute] = alice.batched();
        const target = batched.web.getFolderByServerRelativePath(LIBRARY + "/by pnpjs");
        const answers = [1, 2, 3].map((n) => target.folders.addUsingPath(`batched ' ${n}`));
        await execute();
        assert.deepEqual((await Promise.all(answers)).map((a) => a.Name), ["batched ' 1", "batched ' 2", "batched ' 3"]);
    });
    await step("more than fits into one batch", async () => {
        const [behaviour, execute] = createBatch(alice.web, { maxRequests: 10 });
        const answers = [];
        for (let i = 0; i < 25; ++i) answers.push(alice.web.getFolderByServerRelativePath(LIBRARY).using(behaviour)());
        await execute();
        assert.equal((await Promise.all(answers)).length, 25);
    });
    await step("an error inside a batch", async () => {
        const [batched, execute] = alice.batched();
        const good = batched.web();
        const bad = batched.web.getFileByServerRelativePath(LIBRARY + "/none.txt")().catch((e) => e);
        await execute();
        assert.ok((await good).Title);
        assert.equal((await bad).status, 404);
    });
    await step("updates of items in a batch", async () => {
        const { Id } = await file("a.txt").getItem();
        const [batched, execute] = alice.batched();
        const update = batched.web.lists.getByTitle("Documents").items.getById(Id).update({ Title: "batched" });
        await execute();
        await update;
        assert.equal((await file("a.txt").getItem()).Title, "batched");
    });
}

async function refusals() {
    await step("404 of a file", () => refused(() => file("none.txt")(), 404, "-2130575338, Microsoft.SharePoint.SPException"));
    await step("404 of content", () => refused(() => file("none.txt").getText(), 404, "-2130575338"));
    await step("404 of a folder", () => refused(() => alice.web.getFolderByServerRelativePath(path("none"))(), 404, "-2147024894"));
    await step("404 of a list", () => refused(() => alice.web.lists.getByTitle("none")(), 404, "-1, System.ArgumentException"));
    await step("400 of a property", () => refused(() => alice.web.select("Nonsense")(), 400, "-1, "));
    await step("carol reads", async () => assert.ok((await file("a.txt", carol).getText()).length));
    await step("carol must not write", () => refused(() => file("a.txt", carol).setContent("x"), 403, "-2147024891"));
    await step("carol must not check out", () => refused(() => file("a.txt", carol).checkout(), 403, "-2147024891"));
    await step("carol must not delete", () => refused(() => file("a.txt", carol).delete(), 403, "-2147024891"));
    await step("bob checks out", () => file("a.txt", bob).checkout());
    await step("alice must not write", () => refused(() => file("a.txt").setContent("x"), 423, "-"));
    await step("nor check out", () => refused(() => file("a.txt").checkout(), 423, "-"));
    await step("nor check in", () => refused(() => file("a.txt").checkin("", 1), 423, "-"));
    await step("nor upload in pieces", () => refused(() => file("a.txt").setContentChunked(new Blob(["x"]), {}), 423, "-"));
    await step("nor delete", () => refused(() => file("a.txt").delete(), 423, "-"));
    await step("nor move", () => refused(() => file("a.txt").moveByPath(path("z.txt"), true), 423, "-"));
    await step("bob undoes", () => file("a.txt", bob).undoCheckout());
    await step("no token", async () => {
        const nobody = connect("wrong");
        await assert.rejects(() => nobody.web(), (e) => e.status === 401);
    });
}

async function formats() {
    for (const [name, accept] of [["verbose", "application/json;odata=verbose"], ["minimal", "application/json;odata=minimalmetadata"],
        ["none", "application/json;odata=nometadata"], ["v4 none", "application/json;odata.metadata=none"]]) {
        const sp = connect(ALICE, InjectHeaders({ Accept: accept }));
        await step(`files, ${name}`, async () => {
            const found = await sp.web.getFolderByServerRelativePath(LIBRARY + "/by pnpjs").files.filter("Name eq 'a.txt'")();
            assert.equal(found[0].Name, "a.txt");
        });
        await step(`change, ${name}`, async () => {
            await file("a.txt", sp).checkout();
            await file("a.txt", sp).checkin(name, 0);
            assert.equal((await file("a.txt", sp)()).CheckInComment, name);
        });
    }
}

await site();
await mainJob();
await items();
await uploads();
await names();
await placement();
await batches();
await refusals();
await formats();
console.log(`${calls} calls, ${failures} failed`);
process.exit(failures ? 1 : 0);
