// Writes the inputs that the fuzzers start from, out of the conformance signals:
//   make_corpus FOLDER
// gives FOLDER/<target>/<number>-<outcome> for each target.
#include <exception>
#include <iostream>

#include "fuzz/corpus.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "make_corpus FOLDER\n";
    return 2;
  }
  try {
    quel::fuzz::Corpus corpus(argv[1]);
    decoder_seeds(corpus);
    encoder_seeds(corpus);
    receiver_seeds(corpus);
    plugin_seeds(corpus);
    bits_seeds(corpus);
    ogg_seeds(corpus);
    command_seeds(corpus);
  } catch (const std::exception& error) {
    std::cerr << "make_corpus: " << error.what() << '\n';
    return 1;
  }
}
