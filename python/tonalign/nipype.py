# SPDX-License-Identifier: BSD-3-Clause
"""A node for workflows of Nipype, Debian's python3-nipype; imported only when asked for."""

import os

from nipype.interfaces.base import CommandLine, CommandLineInputSpec, File, TraitedSpec, traits


class MatchInputSpec(CommandLineInputSpec):
    in_file = File(exists=True, mandatory=True, argstr="%s", position=-3, desc="the scan")
    target = File(exists=True, mandatory=True, argstr="%s", position=-2, desc="a scan, or a .hist file")
    out_file = File(
        name_source="in_file", name_template="%s_matched", keep_extension=True, argstr="%s", position=-1,
        desc="the matched scan",
    )
    mask = File(exists=True, argstr="--mask %s", desc="the scan's foreground")
    target_mask = File(exists=True, argstr="--target-mask %s", desc="the same of the target")
    bins = traits.Range(low=2, value=256, argstr="--bins %d", usedefault=True, desc="a .hist file brings its own")
    sigma = traits.Float(argstr="--sigma %g", desc="smoothing of the target, in bins")
    endpoints = traits.Bool(argstr="--endpoints", desc="map the ends of the range to the target's first")
    clip = traits.Float(argstr="--clip %g", desc="percentile at which the range of the bins ends")
    classic = traits.Bool(argstr="--classic", desc="the whole run of tonalign")
    outside = traits.Str(argstr="--outside %s", desc='what background becomes: a number, or "keep"')
    log = File(argstr="--log %s", desc="a file of what was done")


class MatchOutputSpec(TraitedSpec):
    out_file = File(exists=True, desc="the matched scan")
    log = File(desc="what was done, when asked for")


class Match(CommandLine):
    """Runs ``tonalign-nifti match``.

    Examples
    --------
    >>> import tonalign.nipype                                                              # doctest: +SKIP
    >>> node = tonalign.nipype.Match(in_file="scan.nii.gz", target="T1w.hist", mask="brain.nii.gz")  # doctest: +SKIP
    >>> node.cmdline                                                                        # doctest: +SKIP
    'tonalign-nifti match --bins 256 --mask brain.nii.gz scan.nii.gz T1w.hist scan_matched.nii.gz'
    """

    _cmd = "tonalign-nifti match"
    input_spec = MatchInputSpec
    output_spec = MatchOutputSpec

    def _list_outputs(self):
        outputs = super()._list_outputs()
        if "log" in outputs and self.inputs.log:
            outputs["log"] = os.path.abspath(self.inputs.log)
        return outputs
