// Makes of each section's sounds one player that switches between them at one position. Without
// this script every sound has the browser's own player and all pictures are shown.
"use strict";
{
  const sections = [];
  let active = null;  // the section that the keys belong to

  const element = (name, attributes = {}, text = "") => {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    made.textContent = text;
    return made;
  };
  const clock = (seconds) =>
    `${Math.floor(seconds / 60)}:${(seconds % 60).toFixed(1).padStart(4, "0")}`;

  class Switch {
    constructor(section) {
      this.section = section;
      this.sounds = [...section.querySelectorAll(".sound")];
      this.players = this.sounds.map((sound) => sound.querySelector("audio"));
      this.chosen = 0;
      this.position = 0;
      this.playing = false;
      this.changes = 0;
      this.frame = 0;

      this.play = element("button", { type: "button" }, "Play");
      this.slider = element("input", { type: "range", min: 0, max: 1, step: "any", value: 0,
        "aria-label": "Position" });
      this.time = element("output");
      this.buttons = this.sounds.map((sound, index) => {
        const key = index < 9 ? `${index + 1} ` : "";
        return element("button", { type: "button", role: "radio", "aria-checked": index === 0,
          tabindex: index === 0 ? 0 : -1 }, key + sound.dataset.name);
      });
      const controls = element("div");
      controls.append(this.play, this.slider, this.time);
      const choices = element("div", { role: "radiogroup", "aria-label": "What you hear" });
      choices.append(...this.buttons);
      const bar = element("div", { class: "switch" });
      bar.append(controls, choices);
      this.sounds[0].before(bar);
      section.classList.add("switched");

      this.heads = this.sounds.map((sound) => {
        const picture = sound.querySelector(".figure > div");
        if (!picture) return null;
        const head = element("div", { class: "head" });
        picture.append(head);
        picture.addEventListener("click", (event) => {
          const box = picture.getBoundingClientRect();
          const [from, to] = this.span(sound);
          const share = (event.clientX - box.left) / box.width;
          this.seek((share - from) / (to - from) * this.length());
        });
        return head;
      });
      this.play.addEventListener("click", () => this.toggle());
      this.slider.addEventListener("input", () => this.seek(this.slider.value * this.length()));
      this.buttons.forEach((button, index) => {
        button.addEventListener("click", () => this.choose(index));
        button.addEventListener("keydown", (event) => {
          const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
          if (!step) return;
          event.preventDefault();
          event.stopPropagation();
          this.choose((index + step + this.sounds.length) % this.sounds.length);
          this.buttons[this.chosen].focus();
        });
      });
      this.players.forEach((player, index) => {
        player.preload = "auto";
        player.removeAttribute("controls");
        player.addEventListener("ended", () => {
          if (index !== this.chosen) return;
          this.playing = false;
          this.position = 0;
          this.show();
        });
        player.addEventListener("loadedmetadata", () => this.show());
      });
      section.addEventListener("pointerdown", () => { active = this; });
      section.addEventListener("focusin", () => { active = this; });
      this.choose(0);
    }

    // The part of a picture's width that stands for time, as the picture says.
    span(sound) {
      const picture = sound.querySelector(".figure > div");
      return [Number(picture.dataset.from || 0), Number(picture.dataset.to || 1)];
    }
    player() { return this.players[this.chosen]; }
    length() { return this.player().duration || Number(this.player().dataset.seconds) || 0; }

    choose(index) {
      const before = this.player();
      if (this.playing) this.position = before.currentTime;
      this.chosen = index;
      this.sounds.forEach((sound, i) => { sound.hidden = i !== index; });
      this.buttons.forEach((button, i) => {
        button.setAttribute("aria-checked", i === index);
        button.tabIndex = i === index ? 0 : -1;
      });
      if (this.playing && before !== this.player()) this.start(before);
      this.show();
    }

    // Starts the chosen sound at the position; the one before goes on until this one is heard.
    async start(before) {
      const change = ++this.changes;
      const player = this.player();
      player.currentTime = before && !before.paused ? before.currentTime : this.position;
      try { await player.play(); } catch { /* another choice came in between */ }
      if (change !== this.changes) return;
      for (const other of this.players) if (other !== player) other.pause();
      this.show();
    }
    toggle() {
      active = this;
      for (const other of sections) if (other !== this && other.playing) other.toggle();
      this.playing = !this.playing;
      if (this.playing) {
        this.start(null);
      } else {
        ++this.changes;
        this.position = this.player().currentTime;
        for (const player of this.players) player.pause();
      }
      this.show();
    }
    seek(seconds) {
      this.position = Math.min(Math.max(seconds, 0), this.length());
      if (this.playing) this.player().currentTime = this.position;
      this.show();
    }
    show() {
      if (this.playing) this.position = this.player().currentTime;
      const length = this.length();
      const share = length > 0 ? Math.min(this.position / length, 1) : 0;
      this.slider.value = share;
      this.play.textContent = this.playing ? "Pause" : "Play";
      this.time.textContent = `${clock(this.position)} / ${clock(length)}`;
      const head = this.heads[this.chosen];
      if (head) {
        const [from, to] = this.span(this.sounds[this.chosen]);
        head.style.left = `${100 * (from + (to - from) * share)}%`;
      }
      if (this.playing && this.frame === 0) {
        this.frame = requestAnimationFrame(() => { this.frame = 0; this.show(); });
      }
    }
  }

  for (const section of document.querySelectorAll("section.compare")) {
    sections.push(new Switch(section));
  }
  active = sections[0] || null;
  for (const hint of document.querySelectorAll(".keys")) hint.hidden = false;

  document.addEventListener("keydown", (event) => {
    if (!active || event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.target instanceof HTMLInputElement) return;
    const onButton = event.target instanceof HTMLButtonElement;
    if (event.key === " " && !onButton) active.toggle();
    else if (event.key === "ArrowLeft") active.seek(active.position - 1);
    else if (event.key === "ArrowRight") active.seek(active.position + 1);
    else if (/^[1-9]$/.test(event.key) && Number(event.key) <= active.sounds.length)
      active.choose(Number(event.key) - 1);
    else return;
    event.preventDefault();
  });

  // A link of a table leads to its sound.
  const follow = () => {
    const target = document.getElementById(location.hash.slice(1));
    for (const section of sections) {
      const index = section.sounds.indexOf(target);
      if (index < 0) continue;
      active = section;
      section.choose(index);
      section.section.scrollIntoView();
    }
  };
  addEventListener("hashchange", follow);
  follow();
}
