#pragma once
// The families of the skin's images: each draws its images at a scale and hands them to the
// sink by name. Build-time only (quillon_skingen).

#include "editor/layout.h"
#include "resources/skin/generator/skinpaint.h"

// KnobA, KnobB, KnobFeed, KnobMaster, KnobMorph: 101 square frames each.
void DrawKnobs(const RSkinScale& scale, const RSkinSink& sink);
// LEDA, LEDB, LEDMorph: 51 frames from dark to fully lit.
void DrawLeds(const RSkinScale& scale, const RSkinSink& sink);
// Bit01X..Bit16X, SwitchSwap, SwitchSource.
void DrawSwitches(const RSkinScale& scale, const RSkinSink& sink);
// ButtonBig, ButtonSingle, ButtonSmall.
void DrawButtons(const RSkinScale& scale, const RSkinSink& sink);
// FaderA, FaderB.
void DrawFaders(const RSkinScale& scale, const RSkinSink& sink);
// GlassA, GlassB, GlassPattern, GlassPreset.
void DrawGlass(const RSkinScale& scale, const RSkinSink& sink);
// PanelGrid, PanelMorph, fitted to where the layout puts the morph knob and the bit keys.
void DrawPanels(const RSkinScale& scale, const RLayout* layout, const RSkinSink& sink);
// plugin: the editor's background, with the group panels and labels the layout lists (the
// definition's `rect` and `text` items); without them, a provisional arrangement of the groups.
void DrawBackground(const RSkinScale& scale, const RLayout* layout, const RSkinSink& sink);
