#include "tools/man_text.h"

#include <algorithm>

namespace quel::tools {
namespace {

constexpr const char* part_file =
    "An output appears under its name only once it is complete; until then it is NAME.part, which "
    "one run at a time may write. A run that is killed leaves this file behind, and it stays until "
    "another run has something to write there; a run that fails, as where the disk fills, removes "
    "what it wrote, and so does one that is interrupted, unless its input was a pipe and cannot be "
    "read again. A NAME.part that another program made is left alone. Pipes and devices are "
    "written "
    "straight through.";
constexpr const char* part_serves =
    "What is in a coded file's .part, quel info and quel decode read.";
constexpr const char* manifest =
    "With --output-dir, quel-manifest.tsv in that folder keeps what was done: inputs and outputs "
    "with their sizes and digests. While a run lasts, quel-manifest.tsv.journal stands beside it.";

constexpr const char* some_failed =
    "Something failed: messages on standard error name file and cause, and no output is left.";

const ManText program = {
    "",
    {},
    "codes speech at 5, 6.5, 8.5 (8 kHz) and 16 kbit/s (16 kHz) into files (.quel, audio/x-quel) "
    "and back.\n\n"
    "Each command has a page of its own. Data goes to standard output, messages to standard error. "
    "Where a command takes one, - as a file name is standard input or output. Existing outputs are "
    "kept unless -f is given.",
    "Something failed, or quel encode, quel decode or quel demux met a file that was damaged or "
    "cut short and wrote what is there. Messages on standard error name file and cause.",
    {part_file, part_serves},
    {{"Code a recording and listen to it", "quel encode speech.wav speech.quel"},
     {"", "quel decode speech.quel heard.wav"},
     {"Look at the file", "quel info speech.quel"}}};

const ManText commands[] = {
    {"encode",
     {"[options] INPUT OUTPUT", "[options] --output-dir FOLDER INPUT..."},
     "codes sound. The input is any audio file that libsndfile reads, of any sampling rate and "
     "number of channels: channels are averaged and the rate is converted to the flavor's, 8000 or "
     "16000 Hz. A pipe may bring any of them; what is neither WAV nor bare samples (--raw-rate) is "
     "kept in a temporary file until it is complete.\n\n"
     "With --output-dir, inputs may be files and folders. The outputs stand in folders as the "
     "inputs do; what is done already and has not changed is skipped.",
     "Something failed, or an input was cut short and only what is there was coded (WAV, RF64, "
     "AIFF and FLAC tell; a WAV whose header leaves the length open is coded to its end). Messages "
     "on standard error name file and cause. With --output-dir, the other files are "
     "finished.",
     {part_file, part_serves, manifest},
     {{"16k, or 8k5 for a source below 16 kHz", "quel encode speech.wav speech.quel"},
      {"5k, with a title", "quel encode speech.wav small.quel --flavor 5k --comment TITLE=Tea"},
      {"Through pipes", "quel encode - - < speech.wav > piped.quel"},
      {"All of a folder, on all processors",
       "quel encode recordings --output-dir coded --flavor 8k5"}}},
    {"decode",
     {"[options] INPUT OUTPUT", "[options] --output-dir FOLDER INPUT..."},
     "decodes files of quel encode. The output is as long as the source, at the flavor's rate "
     "unless --rate is given, and lies where the source lay, to the sample. Its form follows from "
     "its name: FLAC for .flac, bare 16-bit samples for .raw and .pcm, else WAV.\n\n"
     "Frames that a damaged file lacks, and those that the --loss options take away, are made up "
     "for as --conceal says; time never shifts.",
     "Something failed, or a coded file was damaged or cut short and only what is there was "
     "written. Messages on standard error name file and cause. With --output-dir, the other files "
     "are finished. Losses that were asked for are no failure.",
     {part_file, manifest},
     {{"To WAV and to FLAC", "quel decode speech.quel heard.wav"},
      {"", "quel decode speech.quel heard.flac"},
      {"With 5 % of the frames lost in runs of three",
       "quel decode speech.quel lossy.wav --loss-burst 5,3 --seed 7"},
      {"Bare coded units, as the plug-in functions write them",
       "quel decode --raw --flavor 8k5 units units.wav"}}},
    {"play",
     {},
     "plays a coded file through the sound card. On a terminal it shows the time, and keys do what "
     "follows: space pauses and goes on, the arrows right and left (or l and h) go 5 seconds on "
     "and back, c changes what stands for lost frames, q or Ctrl-C ends.\n\n"
     "With --loss frames get lost, so that the kinds of concealment can be compared by ear. What a "
     "damaged file lacks is made up for as well; quel info tells of damage.",
     "The file could not be read or is no coded file, or there is no sound output. A damaged file "
     "is no failure.",
     {},
     {{"Listen", "quel play speech.quel"},
      {"From the second minute on, on a bad link",
       "quel play speech.quel --start 60 --loss 10 --conceal deferred"},
      {"The same sound through another player", "quel decode speech.quel - | aplay"}}},
    {"info",
     {},
     "tells what coded files hold. Bit rates are those of the coded units alone (net) and of the "
     "whole file (gross). The bitstream number says what the units mean; a file of a number that "
     "is not known here is refused. The encoder's behaviour number is for whoever compares exact "
     "bits.\n\n"
     "Damage is part of what it tells and no failure: lost units, damaged and misplaced pages, "
     "bytes outside pages, a missing end.",
     "A file could not be read or is no coded file; the others are told all the same. A damaged "
     "file is no failure.",
     {},
     {{"For a reader", "quel info speech.quel"},
      {"For a program", "quel info --json speech.quel small.quel"}}},
    {"dump",
     {},
     "writes every frame's indices to standard output, and what they stand for: spectral "
     "frequencies, and for each subframe lag, gains and pulses. The text has one statement a line "
     "and starts with quel-dump 1. quel mux --from-dump makes the file of it again.\n\n"
     "Where units were lost, the dump says so. Messages on standard error tell of other damage.",
     "The input could not be read or is no coded file, or the output could not be written. A "
     "damaged file is no failure.",
     {},
     {{"Into a file and back", "quel dump speech.quel > speech.txt"},
      {"", "quel mux --from-dump speech.txt again.quel"},
      {"JSON", "quel dump --json speech.quel > speech.json"}}},
    {"mux",
     {"[options] --flavor FLAVOR INPUT OUTPUT", "--from-dump [-f] INPUT OUTPUT"},
     "puts bare coded units into a file, such as the plug-in functions and quelo write: whole "
     "units back to back, all of one flavor and of this version's bitstream. With --from-dump it "
     "makes a file from the text of quel dump, the identical one where quel wrote the first.",
     some_failed,
     {part_file, part_serves},
     {{"Units of 8k5", "quel mux --flavor 8k5 units units.quel"},
      {"A copy by way of text", "quel dump speech.quel | quel mux --from-dump - copy.quel"}}},
    {"demux",
     {},
     "takes the coded units out of a file and writes them back to back. Zeros stand where units "
     "are lost, so that time does not shift.",
     "Something failed, or the file was damaged or cut short and only what is there was written. "
     "Messages on standard error name file and cause.",
     {part_file},
     {{"Units for a program of your own", "quel demux speech.quel speech.units"}}},
    {"eval",
     {},
     "codes and decodes a recording with every flavor and prints bit rate, signal-to-noise ratios, "
     "spectral distortion, intelligibility (STOI and ESTOI) and speed. All compare with what a "
     "perfect coder would give; - stands where there is no figure.\n\n"
     "The page of --html needs no other file: the table, and players and spectrograms of the first "
     "two minutes. With --reference and --decoded nothing is coded: the figures are those of what "
     "any "
     "codec made of the recording, the delay taken out.",
     "Something failed, and no output is left; or the input was cut short and what is there was "
     "measured. Messages on standard error name file and cause.",
     {part_file},
     {{"A table", "quel eval speech.wav"},
      {"Two flavors, with and without losses",
       "quel eval speech.wav --flavor 8k5,16k --loss 0,5 --html eval.html"}}},
    {"selftest",
     {},
     "codes and decodes built-in signals with every flavor, with and without losses, and compares "
     "digests of the results with the project's. Each line has the digest, ok, DIFFERS or MISSING, "
     "and the signal's name; the last has this version's numbers. A build whose digests differ "
     "makes files that other builds decode wrongly.",
     "A digest differs or is missing.",
     {},
     {{"Is this build sound?", "quel selftest"}}},
};

}  // namespace

const ManText* man_text(std::string_view command) {
  if (command.empty()) return &program;
  const auto* text = std::find_if(std::begin(commands), std::end(commands),
                                  [&](const ManText& each) { return each.name == command; });
  return text == std::end(commands) ? nullptr : text;
}

}  // namespace quel::tools
