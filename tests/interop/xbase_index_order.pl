#!/usr/bin/perl
# Prints the values of the given fields, one record per line in the order
# of one tag of a compound index, as a perl module of the system's packages
# reads it (a black-box oracle for the engine's index files).
#   xbase_index_order.pl TABLE INDEX TAG FIELD...
use strict;
use warnings;
use XBase;

my ($dbf, $cdx, $tag, @fields) = @ARGV;
my $table = XBase->new($dbf) or die XBase->errstr;
my $cursor = $table->prepare_select_with_index([$cdx, $tag], @fields) or die $table->errstr;
while (my @row = $cursor->fetch()) {
  print join("|", map { defined $_ ? $_ : "" } @row), "\n";
}
