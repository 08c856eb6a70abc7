// The page's web notifications: replaces window.Notification (and the
// service worker's showNotification and the permissions query for
// notifications) with the browser's own. Runs in the page's world, in main
// frames, before the page's scripts. It cannot reach the browser itself: it
// raises "quillo-notify" on the document with a JSON text, which our world
// (notifications-relay.js) carries to the browser, and hears the answer as
// "quillo-notify-reply".
(() => {
  const states = ["default", "granted", "denied"];
  let permission = "default";
  let requested = false;  // an answer to a request outranks the first look
  const live = new Map();
  // Ids are unique to this document, so that a notification of the page
  // that was here before never stands for one of this page's.
  const load = Math.random().toString(36).slice(2, 10);
  let next = 0;

  // Messages waiting for an answer, by sequence number. Our world may start
  // listening after this script ran: when it says it is ready, whatever is
  // still waiting is sent again.
  const waiting = new Map();
  let sequence = 0;
  const send = (seq) => {
    const detail = JSON.stringify({seq, message: waiting.get(seq).message});
    document.dispatchEvent(new CustomEvent("quillo-notify", {detail}));
  };
  const ask = (message) =>
    new Promise((resolve) => {
      const seq = ++sequence;
      waiting.set(seq, {message, resolve});
      send(seq);
    });
  document.addEventListener("quillo-notify-reply", (event) => {
    let reply;
    try {
      reply = JSON.parse(event.detail);
    } catch (e) {
      return;
    }
    const entry = reply && waiting.get(reply.seq);
    if (!entry) return;
    waiting.delete(reply.seq);
    entry.resolve(reply.value);
  });
  document.addEventListener("quillo-notify-ready", () => {
    for (const seq of waiting.keys()) send(seq);
  });

  const store = (state) => {
    if (states.includes(state)) permission = state;
    return permission;
  };

  // Fires an event, then the matching on… handler; a handler's failure is
  // reported as the page's own uncaught error.
  const fire = (target, type) => {
    const event = new Event(type, {cancelable: type === "click"});
    target.dispatchEvent(event);
    const handler = target["on" + type];
    if (typeof handler !== "function") return;
    try {
      handler.call(target, event);
    } catch (error) {
      setTimeout(() => {
        throw error;
      });
    }
  };
  const text = (value) => (value === undefined || value === null ? "" : String(value));

  class Notification extends EventTarget {
    #id;
    constructor(title, options) {
      super();
      if (arguments.length === 0) throw new TypeError("Notification: a title is required");
      options = options || {};
      this.title = String(title);
      this.body = text(options.body);
      this.tag = text(options.tag);
      this.icon = text(options.icon);
      this.data = options.data === undefined ? null : options.data;
      this.silent = Boolean(options.silent);
      this.onclick = this.onshow = this.onclose = this.onerror = null;
      this.#id = load + "-" + ++next;
      live.set(this.#id, this);
      // The icon and data stay with the page.
      // One closed before the desktop answered is neither shown nor failed.
      const settle = (type) => live.get(this.#id) === this && fire(this, type);
      ask({type: "show", id: this.#id, title: this.title, body: this.body, tag: this.tag, silent: this.silent}).then(
        (posted) => settle(posted === true ? "show" : "error"),
        () => settle("error"));
    }
    close() {
      if (!live.delete(this.#id)) return;
      ask({type: "close", id: this.#id});
      fire(this, "close");
    }
    static get permission() {
      return permission;
    }
    static get maxActions() {
      return 0;
    }
    static requestPermission(callback) {
      // Without the user's gesture the answer is what is known: no prompt.
      const activation = navigator.userActivation;
      const answer = activation && !activation.isActive ? Promise.resolve(permission) : ask({type: "request"});
      return answer.then((state) => {
        requested = true;
        store(state);
        if (typeof callback === "function") callback(permission);
        return permission;
      });
    }
  }

  Object.defineProperty(window, "Notification", {value: Notification, writable: true, configurable: true});
  // The browser calls this when the user clicks one of the page's notifications.
  Object.defineProperty(window, "__quilloNotificationClicked", {
    value: (id) => {
      const notification = live.get(String(id));
      if (notification) fire(notification, "click");
    },
  });

  if (typeof ServiceWorkerRegistration === "function") {
    Object.defineProperty(ServiceWorkerRegistration.prototype, "showNotification", {
      value: function showNotification(title, options) {
        try {
          new Notification(title, options);
        } catch (error) {
          return Promise.reject(error);
        }
        return Promise.resolve();
      },
      writable: true,
      configurable: true,
    });
  }

  // The prototype, not navigator.permissions: that may not exist yet.
  if (typeof Permissions === "function" && typeof Permissions.prototype.query === "function") {
    const query = Permissions.prototype.query;
    Object.defineProperty(Permissions.prototype, "query", {
      value: function (descriptor) {
        if (!descriptor || descriptor.name !== "notifications") return query.apply(this, arguments);
        const status = new EventTarget();
        status.name = "notifications";
        status.state = permission === "default" ? "prompt" : permission;
        status.onchange = null;
        return Promise.resolve(status);
      },
      writable: true,
      configurable: true,
    });
  }

  ask({type: "permission"}).then((state) => {
    if (!requested) store(state);
  });
})();
