// Scenarios of the campaign `allocations`: stanza files, their C interface, Java properties.
#include <Z/Z.h>
#include <Z/zproperties_c.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "Allocations.h"

namespace faults {

namespace {

char const file[] = "server.conf";

// Values that hardly grow shorter when they are compressed, as a database wants them.
std::string const secretText = [] {
    std::string letters;
    for (unsigned int n = 1; letters.size() < 200; n = n * 1103515245 + 12345) {
        letters += static_cast<char>('a' + (n >> 16) % 26);
    }
    return letters;
}();
char const* const secret = secretText.c_str();

// A file of the usual things, and further stanzas.
void putFile(int more) {
    std::string lines = "# top\n\n[server]\n# above\nworkers = 4\nname = " + longText +
                        "\nlist = one\nlist = two\nlist = three\non = yes\nempty =\n"
                        "\n[client]\nname = short\n";
    for (int n = 0; n < more; ++n) {
        std::string const number = std::to_string(n);
        lines += "[stanza" + number + "]\nkey = " + longText + "\nother = " + number + "\n";
    }
    put(file, lines);
}

std::string shown(ZArrayList_5_1 const& strings) {
    std::string all;
    for (unsigned int i = 0; i < strings.size(); ++i) {
        all += static_cast<ZLCString_5_1*>(strings.get(i))->getChars() + std::string("\n");
    }
    return all;
}

// ---- stanza files ----

struct Stanzas : ZStanzaFileProperties_5_1 {
    Stanzas() : ZStanzaFileProperties_5_1(1) {}

    // The whole content, found by another thread: no lock is held.
    std::string content() {
        std::string all;
        std::thread([this, &all] {
            char* chars = nullptr;
            std::size_t size = 0;
            std::FILE* const stream = open_memstream(&chars, &size);
            writeText(file, stream);
            std::fclose(stream);
            all.assign(chars, size);
            std::free(chars);
            ZArrayList_5_1 names(1, 1), values(1, 1);
            keyNames(names);
            for (unsigned int i = 0; i < names.size(); ++i) {
                auto const* stanza = static_cast<ZLCString_5_1*>(names.get(i))->getChars();
                all += stanza + std::to_string(count(stanza)) + "\n";
            }
            getValues("server", "secret", values, ZPropLCString);
            all += shown(values);
            getValues("server", "other", values, ZPropLCString);
            all += shown(values);
        }).join();
        return all + files();
    }
};

template <int more, bool withDatabase>
struct Unread : Stanzas {
    Unread() {
        putFile(more);
        if (!withDatabase) return;
        ZStanzaFileProperties_5_1 writer(file, 1);
        writer.setValue("server", "secret", secret, 1);
        writer.addValue("server", "secret", "second", 1);
        writer.store(nullptr);
    }
};

// A loaded instance, and places for what it is asked for.
template <bool withDatabase>
struct Loaded : Unread<2, withDatabase> {
    Loaded() { this->load(file); }

    ZLCString_5_1 out{"nothing yet"};
    ZUTF8String_5_1 utf8;
    ZArrayList_5_1 list{1, 1};
    unsigned int number = 0;

    void names() {
        list.removeAll();
        this->keyNames(list);
        this->keyNames("server", list);
        this->keyNames("server");
    }
    void stanza() {
        ZPropertiesKVList_5_1 pairs(ZPropUTF8String), other;
        this->getStanza("server", pairs);
        other = pairs;
        delete other.clone();
    }
    void items() {
        using Item = ZStzFileItem_5_1;
        Item all[] = {{Item::integerValue, "server", "workers", 1, &number, 0},
                      {Item::textValue, "server", "name", 1, &out, nullptr},
                      {Item::utf8Values, "server", "list", 1, &list, 0}};
        this->getItems(all, 3);
    }
    void iterate() {
        ZStanzaIterator_5_1 keys(*this, "server");
        while (keys.hasMore()) {
            keys.nextEntry();
            if (keys.valueCount()) keys.entryValue(0);
        }
        ZStanzaValueIterator_5_1 values(*this, "server", "list", ZPropUTF8String,
                                        ZStanzaValueIterator_5_1::ANY);
        for (char const* value; values.hasMore();) values.nextValue(value);
    }
    void addTwo() {
        ZArrayList_5_1 values(1, 1);
        ZLCString_5_1 const one("one"), two(text);
        values.add(&one);
        values.add(&two);
        this->addValues("server", "list", values, 0);
    }
    template <class Change>
    void walk(char const* key, Change change) {
        ZStanzaValueIterator_5_1 values(*this, "server", key, ZPropLCString,
                                        ZStanzaValueIterator_5_1::ANY);
        if (values.hasMore()) values.nextValue();
        change(values);
    }
};
using Plain = Loaded<false>;
using Hidden = Loaded<true>;

// Whose changes somebody is told of.
struct Told : Plain {
    struct Observer : ZObserverInterface_5_1 {
        void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override {}
    } observer;
    Told() { addObserver(&observer); }
};

// With changes to be stored.
template <bool withDatabase>
struct Changed : Loaded<withDatabase> {
    Changed() {
        this->setValue("server", "name", "new");
        this->addStanzaComment("client", "why");
    }
};
struct NewDatabase : Changed<false> {
    NewDatabase() { setValue("server", "secret", secret, 1); }
};
struct NoDatabase : Changed<true> {
    NoDatabase() { deleteKey("server", "secret"); }
};

template <class Subject>
std::string content(Subject& x) {
    return x.content();
}
template <class Subject>
std::string contentAndFlag(Subject& x) {
    return std::to_string(x.isModified()) + x.content();
}
template <class Subject>
std::string answers(Subject& x) {
    return x.out.getChars() + ("\n" + shown(x.list)) + x.utf8.getChars() +
           std::to_string(x.number) + "\n" + x.content();
}

// The factory keeps its instance until it goes itself.
struct Factory : ZAbstractPropertiesFactory_5_1 {
    Factory() { putFile(0); }
    ~Factory() noexcept(false) override { delete shared; }
    ZProperties_5_1* makePropertiesInstance() override { return new Stanzas; }
    std::string content() const {
        return shared ? static_cast<Stanzas*>(shared)->content() : files();
    }
    ZProperties_5_1* shared = nullptr;
};

constexpr int notOpened = 43;

void addLoading(std::vector<Scenario>& all) {
    // What was read before the failure stays, so it is done again by reload().
    auto const reload = Z_DO(x.reload(file));
    using Small = Unread<0, false>;
    using Large = Unread<40, false>;
    using Database = Unread<2, true>;
    Uses<Small>{all, content<Small>}("load", {Z_DO(x.load(file))}, {notOpened}, Left::part, reload);
    Uses<Large>{all, content<Large>}("load", {Z_DO(x.load(file))}, {notOpened}, Left::part, reload);
    Uses<Database>{all, content<Database>}("load with database", {Z_DO(x.load(file))}, {notOpened},
                                           Left::part, reload);
    Uses<Plain>{all, content<Plain>}("reload", {reload}, {notOpened}, Left::part);
    Uses<Hidden>{all, content<Hidden>}("reload", {reload}, {notOpened}, Left::part);
    Uses<Factory>{all, content<Factory>}(
        "shared instance", {Z_DO(x.shared = ZProperties_5_1::getPropertiesFor(file, x, 1))},
        {notOpened});
}

void addQuestions(std::vector<Scenario>& all) {
    Uses<Plain> const plain{all, answers<Plain>, {notOpened}};
    Uses<Hidden> const hidden{all, answers<Hidden>, {notOpened}};
    plain("get string", {Z_DO(x.getValue("server", "name", x.out, 1, nullptr)),
                         Z_DO(x.getValue("server", "name", x.utf8, 1, nullptr)),
                         Z_DO(x.getValue("server", "none", x.out, 0, text)),
                         Z_DO(x.getValue("server", "none", x.out, 1, nullptr))});
    plain("get int, bool, count",
          {Z_DO(x.number = x.getIntegerValue("server", "workers", 1, 0)),
           Z_DO(x.number = x.getIntegerValue("server", "list", 1, 0)),
           Z_DO(x.number = unsigned(x.getBooleanValue("server", "on", 1, 0))),
           Z_DO(x.number = unsigned(x.numValues("server", "list") + x.count("server")))});
    plain("get list",
          {Z_DO(x.getValues("server", "list", x.list, ZPropLCString)),
           Z_DO(x.getValues("server", "list", x.list, ZPropUTF8String))},
          {}, Left::part);
    hidden("obfuscated get",
           {Z_DO(x.getValue("server", "secret", x.out, 1, nullptr)),
            Z_DO(x.getValues("server", "secret", x.list, ZPropLCString)),
            Z_DO(x.number = unsigned(x.isObfuscated("server", "secret")))},
           {}, Left::part);
    plain("names, stanza, items",
          {Z_DO(x.names()), Z_DO(x.stanza()), Z_DO(x.items()),
           Z_DO(static_cast<ZProperties_5_1&>(x).list())},
          {}, Left::part);
    plain("iterate", {Z_DO(x.iterate())});
}

// Of a change that makes a stanza or a key, the key without its value may stay.
template <class Subject>
void addChanges(std::vector<Scenario>& all, char const* set, char const* make, char const* remove) {
    Uses<Subject> const uses{all, content<Subject>, {notOpened}};
    uses(set, {Z_DO(x.setValue("server", "name", "new")), Z_DO(x.setValue("server", "list", text)),
               Z_DO(x.setValue("server", "name", (longText + text).c_str())),
               Z_DO(x.setValue("server", "name", ZUTF8String_5_1(text), 0)),
               Z_DO(x.setIntegerValue("server", "workers", 9)),
               Z_DO(x.setBooleanValue("server", "on", 0))});
    uses(make,
         {Z_DO(x.setValue("server", "fresh", text)), Z_DO(x.setValue("fresh", "fresh", text)),
          Z_DO(x.addValue("server", "fresh", text, 0)), Z_DO(x.addValue("fresh", "fresh", text, 0)),
          Z_DO(x.addStanza("fresh")), Z_DO(x.addStanzaComment("fresh", text)),
          Z_DO(x.addEntryComment("fresh", "fresh", text))},
         {}, Left::part);
    uses(remove, {Z_DO(x.deleteKey("server", "list")), Z_DO(x.deleteStanza("server"))});
}

void addChanging(std::vector<Scenario>& all) {
    addChanges<Plain>(all, "set", "set, new", "delete");
    addChanges<Told>(all, "set, told", "set, new, told", "delete, told");
    Uses<Plain> const plain{all, content<Plain>, {notOpened}};
    Uses<Hidden> const hidden{all, content<Hidden>, {notOpened}};
    plain("add",
          {Z_DO(x.addValue("server", "list", "four", 0)), Z_DO(x.addTwo()),
           Z_DO(x.walk("fresh", [](auto& values) { values.addValue(text); }))},
          {}, Left::part);
    hidden("set obfuscated",
           {Z_DO(x.setValue("server", "secret", "new", 1)), Z_DO(x.deleteKey("server", "secret"))});
    hidden("set obfuscated, new",
           {Z_DO(x.setValue("server", "other", secret, 1)),
            Z_DO(x.addValue("server", "secret", secret, 1))},
           {}, Left::part);
    plain("comment", {Z_DO(x.addFileComment(text)), Z_DO(x.addStanzaComment("server", text)),

                      Z_DO(x.addEntryComment("server", "on", "why"))});
    auto const change = Z_DO(x.changeValue(text));
    auto const add = Z_DO(x.addValue(text));
    auto const remove = Z_DO(x.removeValue());
    plain("change by iterator", {[=](Plain& x) { return x.walk("list", change), 0; },
                                 [=](Plain& x) { return x.walk("list", add), 0; },
                                 [=](Plain& x) { return x.walk("list", remove), 0; }});
    hidden("change by iterator", {[=](Hidden& x) { return x.walk("secret", change), 0; },
                                  [=](Hidden& x) { return x.walk("secret", add), 0; }});
}

template <class Subject>
void addStoring(std::vector<Scenario>& all, char const* name) {
    Uses<Subject>{all, contentAndFlag<Subject>, {notOpened}}(
        name, {Z_DO(x.store(nullptr)), Z_DO(x.store("other.conf"))});
}

// ---- the C interface ----

struct Handle {
    ZPROP_handle* handle = nullptr;
    char* string = nullptr;
    unsigned int rc = 0;

    Handle() {
        putFile(1);
        if (open()) throw std::bad_alloc();
    }
    ~Handle() {
        zstzPropFree_5_1(string);
        zstzPropClose_5_1(handle);
    }
    int open() {
        zstzPropClose_5_1(handle);
        return zstzPropOpen_5_1(&handle, file, ZPROP_OPEN_UPDATE);
    }
    // The last code, when nothing was returned but an answer.
    int code(long = 0) const { return -static_cast<int>(rc); }
    int getString() {
        zstzPropFree_5_1(string);
        string = nullptr;
        string = zstzPropGetStringValue_5_1(handle, "server", "name", 1, &rc);
        return code();
    }
    int getSeveral() {
        int on = 0, workers = 0;
        char* name = nullptr;
        char** list = nullptr;
        ZPROPValueRequest const requests[] = {{ZPROP_BOOLEAN, "server", "on", 0, &on},
                                              {ZPROP_STRING_LIST, "server", "list", 0, &list},
                                              {ZPROP_INTEGER, "server", "workers", 0, &workers},
                                              {ZPROP_STRING, "server", "name", 0, &name}};
        std::unique_ptr<ZPROP_handle, std::function<void(ZPROP_handle*)>> const release(
            handle, [&](ZPROP_handle* h) { zstzPropFreeValuesList_5_1(h, requests, 4); });
        return zstzPropGetValues_5_1(handle, requests, 4);
    }
    // A step over the values of the list, or over the keys for null, then `use`.
    template <class Use>
    int walk(char const* key, Use use) {
        ZPROP_iter_handle* made = nullptr;
        if (int const failed = zstzPropIter_init_5_1(handle, "server", key, &made)) return failed;
        std::unique_ptr<ZPROP_iter_handle, int (*)(ZPROP_iter_handle*)> const iterator(
            made, zstzPropIter_close_5_1);
        return zstzPropIter_next_5_1(made, &rc) ? use(*made) : code();
    }
    std::string content() {
        std::string all = string ? string : "";
        all += files();
        if (handle) zstzPropStore_5_1(handle, "seen");
        all += files();
        std::remove("seen");
        return all;
    }
};

void addHandles(std::vector<Scenario>& all) {
    Uses<Handle> const uses{all, content<Handle>};
    uses("C get",
         {Z_CODE(x.getString()), Z_CODE(-x.getSeveral()),
          Z_CODE(x.code(zstzPropGetIntegerValue_5_1(x.handle, "server", "workers", 1, &x.rc))),
          Z_CODE(x.code(zstzPropGetIntegerValue_5_1(x.handle, "server", "list", 1, &x.rc))),
          Z_CODE(x.code(zstzPropGetBooleanValue_5_1(x.handle, "server", "none", 1, &x.rc))),
          Z_CODE(x.code(zstzPropExists_5_1(x.handle, "server", "list", &x.rc))),
          Z_CODE(x.code(zstzPropNumStanzas_5_1(x.handle, &x.rc))),
          Z_CODE(x.code(zstzPropNumKeys_5_1(x.handle, "server", &x.rc))),
          Z_CODE(x.code(zstzPropNumValues_5_1(x.handle, "server", "list", &x.rc)))},
         {}, Left::part);
    uses("C set",
         {Z_CODE(-zstzPropSetStringValue_5_1(x.handle, "server", "name", "new")),
          Z_CODE(-zstzPropSetStringValue_5_1(x.handle, "server", "list", text)),
          Z_CODE(-zstzPropSetIntegerValue_5_1(x.handle, "server", "list", 7)),
          Z_CODE(-zstzPropSetBooleanValue_5_1(x.handle, "server", "on", 0)),
          Z_CODE(-zstzPropRemoveKey_5_1(x.handle, "server", "list")),
          Z_CODE(-zstzPropRemoveStanza_5_1(x.handle, "client")),
          Z_CODE(-zstzPropAddStanzaComment_5_1(x.handle, "client", text)),
          Z_CODE(-zstzPropAddFileComment_5_1(x.handle, text)),
          Z_CODE(-zstzPropAddLineComment_5_1(x.handle, "client", "name", text))},
         {-ZPROP_CHANGE_FAILED});
    uses("C store",
         {Z_CODE(-zstzPropStore_5_1(x.handle, nullptr)),
          Z_CODE(-zstzPropStore_5_1(x.handle, "new"))},
         {-ZPROP_FILE_FAILED});
    uses("C open", {Z_CODE(-x.open())}, {-ZPROP_FILE_FAILED}, Left::part);
    auto const read = [](ZPROP_iter_handle& x) {
        unsigned int rc = 0;
        zstzPropIter_getKey_5_1(&x, &rc);
        zstzPropIter_getValue_5_1(&x, 0, &rc);
        zstzPropIter_numKeys_5_1(&x, &rc);
        return -static_cast<int>(rc);
    };
    auto const change = Z_CODE(-zstzPropIter_chgValue_5_1(&x, text));
    auto const add = Z_CODE(-zstzPropIter_addValue_5_1(&x, text));
    auto const remove = Z_CODE(-zstzPropIter_rmvValue_5_1(&x));
    uses("C iterate", {[=](Handle& x) { return x.walk("list", read); },
                       [=](Handle& x) { return x.walk(nullptr, read); },
                       [=](Handle& x) { return x.walk("list", change); },
                       [=](Handle& x) { return x.walk("list", add); },
                       [=](Handle& x) { return x.walk("list", remove); }});
}

// ---- Java properties ----

struct UnreadJava : ZJavaProperties_5_1 {
    UnreadJava() {
        put("a.properties",
            "key = " + longText + "\nname = \\u00e4\\\n more\n" + longText + "=x\n");
    }
    ZLCString_5_1 out;

    void setNew() { setValue(ZUTF8String_5_1("new"), ZUTF8String_5_1(text)); }
    std::string content() const {
        std::string all = out.getChars();
        for (char const* key : {"key", "name", "new"}) {
            ZUTF8String_5_1 value;
            getValue(ZUTF8String_5_1(key), value);
            all += "\n" + std::string(value.getChars());
        }
        return all + "\n" + files();
    }
};
struct Java : UnreadJava {
    Java() {
        load("a.properties");
        getValue(ZUTF8String_5_1(text), out);
        if (out.isEmpty()) throw std::bad_alloc();  // which load() only reports
        out.clear();
    }
};

void addJava(std::vector<Scenario>& all) {
    // 0 for a stream that cannot be made; a read that fails is reported, and the pairs before it
    // stay.
    Uses<UnreadJava>{all, content<UnreadJava>}("Java load", {Z_CODE(x.load("a.properties") - 1)},
                                               {-1}, Left::anything);
    Uses<Java> const uses{all, content<Java>};
    uses("Java get, set", {Z_DO(x.getValue(ZUTF8String_5_1("key"), x.out)), Z_DO(x.setNew())});
    // A file that could not be written whole is taken away.
    uses("Java store", {Z_CODE(x.store("a.properties")), Z_CODE(x.store("b.properties"))},
         {notOpened}, Left::part);
}

}  // namespace

void addProperties(std::vector<Scenario>& all) {
    addLoading(all);
    addQuestions(all);
    addChanging(all);
    addStoring<Changed<false>>(all, "store");
    addStoring<Changed<true>>(all, "store with database");
    addStoring<NewDatabase>(all, "store with database");
    addStoring<NoDatabase>(all, "store with database");
    addHandles(all);
    addJava(all);
}

}  // namespace faults
