#include "platform/linux/X11WindowPinger.h"

#include <QHash>
#include <QSet>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace velmox {

namespace {

template <typename T> using XcbPointer = std::unique_ptr<T, decltype(&std::free)>;

template <typename T> XcbPointer<T> owned(T* reply) {
    return XcbPointer<T>(reply, &std::free);
}

struct Atoms {
    xcb_atom_t protocols = XCB_ATOM_NONE;
    xcb_atom_t ping = XCB_ATOM_NONE;
    xcb_atom_t pid = XCB_ATOM_NONE;
    xcb_atom_t clientList = XCB_ATOM_NONE;
    xcb_atom_t name = XCB_ATOM_NONE;
    xcb_atom_t utf8 = XCB_ATOM_NONE;
};

Atoms internAtoms(xcb_connection_t* connection) {
    const char* names[] = {"WM_PROTOCOLS",     "_NET_WM_PING", "_NET_WM_PID",
                           "_NET_CLIENT_LIST", "_NET_WM_NAME", "UTF8_STRING"};
    xcb_intern_atom_cookie_t cookies[std::size(names)];
    for (size_t i = 0; i < std::size(names); ++i)
        cookies[i] =
            xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(names[i])), names[i]);
    xcb_atom_t atoms[std::size(names)];
    for (size_t i = 0; i < std::size(names); ++i) {
        const auto reply = owned(xcb_intern_atom_reply(connection, cookies[i], nullptr));
        atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    return {atoms[0], atoms[1], atoms[2], atoms[3], atoms[4], atoms[5]};
}

XcbPointer<xcb_get_property_reply_t> property(xcb_connection_t* connection, xcb_window_t window,
                                              xcb_atom_t name, xcb_atom_t type) {
    return owned(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, name, type, 0, 4096), nullptr));
}

QList<quint32> cardinals(const xcb_get_property_reply_t* reply) {
    QList<quint32> values;
    if (!reply || reply->format != 32)
        return values;
    const auto* data = static_cast<const quint32*>(xcb_get_property_value(reply));
    const int count = xcb_get_property_value_length(reply) / 4;
    for (int i = 0; i < count; ++i)
        values.append(data[i]);
    return values;
}

QByteArray bytes(const xcb_get_property_reply_t* reply) {
    if (!reply || reply->format != 8)
        return {};
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply)),
                      xcb_get_property_value_length(reply));
}

bool isViewable(xcb_connection_t* connection, xcb_window_t window) {
    const auto attributes = owned(xcb_get_window_attributes_reply(
        connection, xcb_get_window_attributes(connection, window), nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

QList<xcb_window_t> children(xcb_connection_t* connection, xcb_window_t window) {
    QList<xcb_window_t> found;
    const auto tree =
        owned(xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
    if (!tree)
        return found;
    const xcb_window_t* list = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
        found.append(list[i]);
    return found;
}

// The application windows: the window manager's client list where there is one; otherwise the
// shown top-level windows and, under a reparenting manager without that list, their children.
QList<xcb_window_t> applicationWindows(xcb_connection_t* connection, xcb_window_t root,
                                       const Atoms& atoms) {
    const QList<quint32> managed =
        cardinals(property(connection, root, atoms.clientList, XCB_ATOM_WINDOW).get());
    if (!managed.isEmpty())
        return managed;
    QList<xcb_window_t> windows;
    for (const xcb_window_t top : children(connection, root)) {
        if (!isViewable(connection, top))
            continue;
        windows.append(top);
        windows.append(children(connection, top));
    }
    return windows;
}

QString hostName() {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return {};
    return QString::fromLocal8Bit(name);
}

QString title(xcb_connection_t* connection, xcb_window_t window, const Atoms& atoms) {
    const QByteArray utf8 = bytes(property(connection, window, atoms.name, atoms.utf8).get());
    if (!utf8.isEmpty())
        return QString::fromUtf8(utf8);
    return QString::fromLatin1(
        bytes(property(connection, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING).get()));
}

UnansweredWindow describe(xcb_connection_t* connection, xcb_window_t window, const Atoms& atoms) {
    UnansweredWindow described{window, 0, title(connection, window, atoms)};
    // A process id means nothing on another machine (a remote client of this display).
    const QString machine = QString::fromLocal8Bit(
        bytes(property(connection, window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING).get()));
    const QList<quint32> pid =
        cardinals(property(connection, window, atoms.pid, XCB_ATOM_CARDINAL).get());
    if (!pid.isEmpty() && machine == hostName())
        described.pid = static_cast<pid_t>(pid.first());
    return described;
}

bool acceptsPing(xcb_connection_t* connection, xcb_window_t window, const Atoms& atoms) {
    return cardinals(property(connection, window, atoms.protocols, XCB_ATOM_ATOM).get())
        .contains(atoms.ping);
}

void sendPing(xcb_connection_t* connection, xcb_window_t window, const Atoms& atoms,
              quint32 serial) {
    xcb_client_message_event_t ping{};
    ping.response_type = XCB_CLIENT_MESSAGE;
    ping.format = 32;
    ping.window = window;
    ping.type = atoms.protocols;
    ping.data.data32[0] = atoms.ping;
    ping.data.data32[1] = serial;
    ping.data.data32[2] = window;
    // No event mask: the message goes to the client that made the window.
    xcb_send_event(connection, 0, window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&ping));
}

// The window a pong is for, or 0 for any other event.
xcb_window_t pongedWindow(const xcb_generic_event_t* event, xcb_window_t root, const Atoms& atoms) {
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
        return 0;
    const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
    if (message->window != root || message->type != atoms.protocols ||
        message->data.data32[0] != atoms.ping)
        return 0;
    return message->data.data32[2];
}

} // namespace

X11WindowPinger::X11WindowPinger(QByteArray display) : display_(std::move(display)) {}

Result<QList<UnansweredWindow>> X11WindowPinger::findUnanswered(std::chrono::milliseconds wait) {
    int screenNumber = 0;
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(display_.isEmpty() ? nullptr : display_.constData(), &screenNumber),
        &xcb_disconnect);
    if (xcb_connection_has_error(connection.get()))
        return failure(
            QStringLiteral("The X display “%1” could not be reached, so windows that "
                           "no longer answer can't be found.")
                .arg(QString::fromLocal8Bit(display_.isEmpty() ? qgetenv("DISPLAY") : display_)));
    xcb_connection_t* x = connection.get();
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(x));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    const xcb_window_t root = screens.data->root;
    const Atoms atoms = internAtoms(x);

    // Answers go to the root window with the notify masks; ours never disturb other clients.
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(x, root, XCB_CW_EVENT_MASK, &mask);

    QSet<xcb_window_t> waiting;
    quint32 serial = 0;
    for (const xcb_window_t window : applicationWindows(x, root, atoms)) {
        if (waiting.contains(window) || !acceptsPing(x, window, atoms))
            continue;
        waiting.insert(window);
        sendPing(x, window, atoms, ++serial);
    }
    xcb_flush(x);

    const auto deadline = std::chrono::steady_clock::now() + wait;
    while (!waiting.isEmpty() && !xcb_connection_has_error(x)) {
        while (const auto event = owned(xcb_poll_for_event(x)))
            waiting.remove(pongedWindow(event.get(), root, atoms));
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (waiting.isEmpty() || left.count() <= 0)
            break;
        pollfd descriptor{xcb_get_file_descriptor(x), POLLIN, 0};
        if (::poll(&descriptor, 1, static_cast<int>(left.count())) < 0 && errno != EINTR)
            break;
    }

    QList<UnansweredWindow> unanswered;
    for (const xcb_window_t window : std::as_const(waiting))
        unanswered.append(describe(x, window, atoms));
    std::sort(unanswered.begin(), unanswered.end(),
              [](const auto& a, const auto& b) { return a.window < b.window; });
    return unanswered;
}

std::unique_ptr<WindowPinger> WindowPinger::forThisSession() {
    class Unsupported final : public WindowPinger {
    public:
        explicit Unsupported(QString reason) : reason_(std::move(reason)) {}
        Result<QList<UnansweredWindow>> findUnanswered(std::chrono::milliseconds) override {
            return failure(reason_);
        }

    private:
        QString reason_;
    };
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return std::make_unique<Unsupported>(
            QStringLiteral("A Wayland session does not let one application ask another's "
                           "windows whether they respond, so windows that no longer answer "
                           "can't be found here."));
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return std::make_unique<Unsupported>(
            QStringLiteral("There is no X11 display here, so windows that no longer answer "
                           "can't be found."));
    return std::make_unique<X11WindowPinger>();
}

} // namespace velmox
